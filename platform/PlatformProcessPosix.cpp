// PlatformProcessPosix.cpp: processes by posix_spawn, lines by pairs of sockets, which do not raise SIGPIPE.
#include "PlatformPathPosix.h"
#include "PlatformProcess.h"

#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qklib::platform {
namespace {
constexpr int kParentLine = STDIN_FILENO; // where a started program finds its line
constexpr time_t kLongestSilence = 600;   // seconds

// What a new process gets: three files, no more, and signals as if nobody had ever touched them.
class Surroundings {
public:
    explicit Surroundings(int line) {
        posix_spawn_file_actions_init(&m_files);
        posix_spawn_file_actions_adddup2(&m_files, line, kParentLine);
        posix_spawn_file_actions_addopen(&m_files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&m_files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&m_files, STDERR_FILENO + 1);

        posix_spawnattr_init(&m_attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Surroundings(Surroundings const&) = delete;
    Surroundings& operator=(Surroundings const&) = delete;
    ~Surroundings() {
        posix_spawn_file_actions_destroy(&m_files);
        posix_spawnattr_destroy(&m_attributes);
    }

    posix_spawn_file_actions_t const* Files() const { return &m_files; }
    posix_spawnattr_t const* Attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_files;
    posix_spawnattr_t m_attributes;
};

void Limit(int resource, rlim_t most) {
    rlimit limit;
    if (getrlimit(static_cast<__rlimit_resource_t>(resource), &limit) != 0) return;
    if (limit.rlim_max > most) limit.rlim_max = most;
    if (limit.rlim_cur > most) limit.rlim_cur = most;
    setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
}
} // namespace

CProcessLine::~CProcessLine() {
    if (m_line >= 0) close(m_line);
    if (m_process < 0) return;
    kill(m_process, SIGKILL);
    while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {}
}

bool CProcessLine::Start(std::string const& program) {
    std::string disk = FindOnDisk(program);
    if (m_line >= 0 || disk.empty()) return false;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;

    char* const arguments[] = {disk.data(), nullptr};
    int process = -1;
    Surroundings const surroundings(ends[1]);
    bool const isStarted =
        posix_spawn(&process, disk.c_str(), surroundings.Files(), surroundings.Attributes(), arguments, environ) == 0;
    close(ends[1]);
    if (!isStarted) {
        close(ends[0]);
        return false;
    }
    timeval const silence{kLongestSilence, 0};
    setsockopt(ends[0], SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence);
    setsockopt(ends[0], SOL_SOCKET, SO_SNDTIMEO, &silence, sizeof silence);
    m_line = ends[0];
    m_process = process;
    return true;
}

void CProcessLine::Answer() { m_line = kParentLine; }

bool CProcessLine::Send(void const* bytes, std::size_t size) {
    auto const* at = static_cast<char const*>(bytes);
    while (size > 0) {
        ssize_t const sent = send(m_line, at, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        at += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool CProcessLine::Receive(void* bytes, std::size_t size) {
    auto* at = static_cast<char*>(bytes);
    while (size > 0) {
        ssize_t const received = recv(m_line, at, size, 0);
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) return false;
        at += received;
        size -= static_cast<std::size_t>(received);
    }
    return true;
}

void LimitThisProcess(unsigned int seconds, unsigned int megabytes) {
    Limit(RLIMIT_CPU, seconds);
    Limit(RLIMIT_CORE, 0);
    if (megabytes) Limit(RLIMIT_AS, rlim_t{megabytes} << 20);
}

std::string GetFolderOfCode(void (*code)()) {
    Dl_info info;
    return dladdr(reinterpret_cast<void*>(code), &info) && info.dli_fname ? NarrowFolderOf(info.dli_fname) : "";
}
} // namespace qklib::platform
