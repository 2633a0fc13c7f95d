// Pack.cpp: the command line of qk3d-pack.
#include "Pack.h"

#include "QKLog.h"
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <vector>

namespace {
constexpr char kUsage[] =
    "usage: qk3d-pack create [--deflate] PACKAGE FOLDER    packs the files of FOLDER; --deflate makes them smaller\n"
    "       qk3d-pack list PACKAGE                         shows size, packed size, way of packing and name of each\n"
    "       qk3d-pack extract PACKAGE FOLDER               unpacks all files into FOLDER, over what is there\n"
    "       qk3d-pack verify PACKAGE                       reads every file and compares its checksum\n"
    "A package is a ZIP archive that the engine's PackageFileSystem reads. The same files give the same bytes.\n"
    "Exit status: 0 is success, 1 a failure, 2 wrong usage.\n";

unsigned int g_complaintCount = 0;

int Run(std::vector<std::string> arguments) {
    bool isDeflated = false;
    std::vector<std::string> words;
    bool onlyWords = false;
    for (std::string const& argument : arguments) {
        if (onlyWords || argument.size() < 2 || argument[0] != '-') {
            words.push_back(argument);
        } else if (argument == "--") {
            onlyWords = true;
        } else if (argument == "--help" || argument == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (argument == "--deflate") {
            isDeflated = true;
        } else {
            Complain("unknown option %s", argument.c_str());
            return 2;
        }
    }

    std::string const command = words.empty() ? "" : words[0];
    if (isDeflated && command != "create") {
        Complain("--deflate goes with create");
        return 2;
    }
    if (command == "create" && words.size() == 3) return CreatePackage(words[1], words[2], isDeflated);
    if (command == "list" && words.size() == 2) return ListPackage(words[1]);
    if (command == "extract" && words.size() == 3) return ExtractPackage(words[1], words[2]);
    if (command == "verify" && words.size() == 2) return VerifyPackage(words[1]);
    std::fputs(kUsage, stderr);
    return 2;
}
} // namespace

void Complain(char const* format, ...) {
    ++g_complaintCount;
    std::va_list arguments;
    va_start(arguments, format);
    std::fputs("qk3d-pack: ", stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    va_end(arguments);
}

void Progress::Step() {
    ++m_done;
    auto const now = std::chrono::steady_clock::now();
    if (now < m_next) return;
    m_next = now + std::chrono::seconds(1);
    std::fprintf(stderr, "%s: %zu of %zu files\n", m_doing, m_done, m_total);
}

unsigned int GetComplaintCount() { return g_complaintCount; }

int main(int argc, char** argv) try {
    // What the engine finds wrong is wrong with the package; its news of itself are of no use here.
    qklib::CLoger::SetSink(
        [](qklib::LogRecord const& record, void*) {
            if (record.level >= qklib::LOG_WARNING) Complain("%s", record.message.c_str());
        },
        nullptr);
    return Run({argv + 1, argv + argc});
} catch (std::exception const& error) { // the file system of the standard library, or no memory
    Complain("%s", error.what());
    return 1;
}
