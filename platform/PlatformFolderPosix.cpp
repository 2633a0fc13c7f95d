// PlatformFolderPosix.cpp: looking for a name in a folder without regard to case, and keeping what was read there.
#include "PlatformFolderPosix.h"
#include "PlatformCodePage.h"

#include <algorithm>
#include <dirent.h>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <time.h>
#include <unordered_map>
#include <utility>

namespace qklib::platform {
namespace {
using FolderStream = std::unique_ptr<DIR, int (*)(DIR*)>;
using Names = std::unordered_multimap<std::size_t, std::string>; // by the hash of the name in lower case

// Enough for the search folders of a large program, at some 10 MB.
constexpr std::size_t kMostNames = 65'536;
constexpr std::size_t kMostFolders = 256;

// False for a name that is no UTF-8: it is the name of no text, so it cannot be meant.
bool Fold(char const* name, std::wstring& folded) {
    if (!Utf8ToUtf16(name, folded)) return false;
    std::transform(folded.begin(), folded.end(), folded.begin(), ToLowerUtf16);
    return true;
}

std::size_t HashOf(std::wstring const& folded) { return std::hash<std::wstring>()(folded); }

constexpr long long Nanoseconds(timespec const& time) { return time.tv_sec * 1'000'000'000LL + time.tv_nsec; }

// When a folder last changed. The second time counts too, because programs that copy folders put the first one back.
struct FolderTimes {
    explicit FolderTimes(struct stat const& status)
        : modified(Nanoseconds(status.st_mtim)), changed(Nanoseconds(status.st_ctim)) {}
    bool operator==(FolderTimes const&) const = default;

    long long modified;
    long long changed;
};

// Whether any change from now on will give the folder other times than these. Times come in steps: of a clock tick on
// most file systems (1 to 10 ms), of one or two seconds on those that keep no parts of a second. A folder that changed
// within the step that still runs could change once more without showing it.
bool WillShowChange(FolderTimes const& times, long long now) {
    constexpr long long kSecond = 1'000'000'000LL;
    long long const step = times.changed % kSecond == 0 || times.modified % kSecond == 0 ? 4 * kSecond : kSecond / 10;
    return std::max(times.modified, times.changed) < now - step;
}

// Whether the file system writes times whenever a folder changes, whoever changes it. Those of other machines and
// those that make their entries up (/proc) do not.
bool TellsChanges(int descriptor) {
    constexpr long kKinds[] = {
        0xEF53,     // ext2, ext3, ext4
        0x58465342, // XFS
        0x9123683E, // Btrfs
        0x2FC12FC1, // ZFS
        0xF2F52010, // F2FS
        0x01021994, // tmpfs
        0x794C7630, // overlayfs
    };
    struct statfs status;
    if (fstatfs(descriptor, &status) != 0) return false;
    return std::find(std::begin(kKinds), std::end(kKinds), static_cast<long>(status.f_type)) != std::end(kKinds);
}

// What is in the folders asked about lately.
class FolderCache {
public:
    std::vector<std::string> Find(std::string const& folder, std::string const& part) {
        struct stat status;
        std::vector<std::string> found;
        if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || !Fold(part.c_str(), m_wanted))
            return found;

        auto const kept = m_folders.find({status.st_dev, status.st_ino});
        if (kept != m_folders.end() && kept->second.times == FolderTimes(status)) {
            kept->second.lastUse = ++m_useCount;
            Collect(kept->second.names, part, found);
        } else {
            if (kept != m_folders.end()) Drop(kept);
            Collect(Read(folder), part, found);
        }
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    struct Folder {
        FolderTimes times;
        Names names;
        unsigned long long lastUse;
    };
    using Folders = std::map<std::pair<dev_t, ino_t>, Folder>;

    // The spellings in `names` of what is wanted, but for `part` itself.
    void Collect(Names const& names, std::string const& part, std::vector<std::string>& found) {
        auto const [first, last] = names.equal_range(HashOf(m_wanted));
        for (auto name = first; name != last; ++name)
            if (name->second != part && Fold(name->second.c_str(), m_name) && m_name == m_wanted)
                found.push_back(name->second);
    }

    // All names of a folder; kept if a later change will show. They stay valid until the next call.
    Names const& Read(std::string const& folder) {
        m_unkept.clear();
        FolderStream const entries(opendir(folder.c_str()), closedir);
        struct stat status;
        timespec now;
        // The times are taken before the names: a change in between makes them old, not the names.
        if (!entries || clock_gettime(CLOCK_REALTIME, &now) != 0 || fstat(dirfd(entries.get()), &status) != 0)
            return m_unkept;
        while (dirent const* const entry = readdir(entries.get()))
            if (Fold(entry->d_name, m_name)) m_unkept.emplace(HashOf(m_name), entry->d_name);

        FolderTimes const times(status);
        if (m_unkept.size() > kMostNames || !WillShowChange(times, Nanoseconds(now)) ||
            !TellsChanges(dirfd(entries.get())))
            return m_unkept;
        while (m_folders.size() >= kMostFolders || m_nameCount + m_unkept.size() > kMostNames) DropOldest();
        std::pair const key(status.st_dev, status.st_ino);
        if (auto const old = m_folders.find(key); old != m_folders.end()) Drop(old); // the path led elsewhere just now
        auto const kept = m_folders.emplace(key, Folder{times, {}, ++m_useCount}).first;
        kept->second.names.swap(m_unkept);
        m_nameCount += kept->second.names.size();
        return kept->second.names;
    }

    void Drop(Folders::iterator folder) {
        m_nameCount -= folder->second.names.size();
        m_folders.erase(folder);
    }

    void DropOldest() {
        Drop(std::min_element(m_folders.begin(), m_folders.end(),
                              [](auto const& a, auto const& b) { return a.second.lastUse < b.second.lastUse; }));
    }

    Folders m_folders;
    std::size_t m_nameCount = 0; // of all folders
    unsigned long long m_useCount = 0;
    Names m_unkept;
    std::wstring m_wanted; // in lower case
    std::wstring m_name;
};
} // namespace

std::vector<std::string> FindOtherSpellings(std::string const& folder, std::string const& part) {
    // Never destroyed: destructors of the program's own objects may still ask for files when it ends.
    static auto& mutex = *new std::mutex;
    static auto& cache = *new FolderCache;
    std::lock_guard const lock(mutex);
    return cache.Find(folder.empty() ? "." : folder, part);
}
} // namespace qklib::platform
