// Pack.h: the commands of qk3d-pack and what they share.
#pragma once

#include <chrono>
#include <string>

/// Each gives the exit status: 0, or 1 after saying on standard error what went wrong.
int CreatePackage(std::string const& package, std::string const& folder, bool isDeflated);
int ListPackage(std::string const& package);
int ExtractPackage(std::string const& package, std::string const& folder);
int VerifyPackage(std::string const& package);

/// Says "qk3d-pack: " and the message on standard error.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void Complain(char const* format, ...);
unsigned int GetComplaintCount();

/// Tells on standard error how far long work has come, once a second.
class Progress {
public:
    Progress(char const* doing, std::size_t total) : m_doing(doing), m_total(total) {}
    void Step();

private:
    char const* m_doing;
    std::size_t m_total;
    std::size_t m_done = 0;
    std::chrono::steady_clock::time_point m_next = std::chrono::steady_clock::now() + std::chrono::seconds(1);
};
