// PlatformProcess.h: programs that work for us in processes of their own, so that what breaks there breaks nothing here.
#pragma once

#include "QKExport.h"
#include <cstddef>
#include <string>

namespace qklib::platform {
/// The line between this process and one that it started: bytes in order, both ways. One thread at a time.
class QKLIB_API CProcessLine {
public:
    CProcessLine() = default;
    CProcessLine(CProcessLine const&) = delete;
    CProcessLine& operator=(CProcessLine const&) = delete;

    /// Cuts the line. A program that was started on it is ended, if it has not come to its end, and is gone afterwards.
    ~CProcessLine();

    /// Starts a program, a narrow path by the rules of PlatformFile.h, with no arguments and this line as all it has of
    /// us: no file, no input, and what it prints goes nowhere. For a line that is not in use yet. False if there is no
    /// such program.
    bool Start(std::string const& program);

    /// For the started program: takes up the line to the process that started it.
    void Answer();

    /// Sends all of it. False if the other side is gone, or has not taken anything for ten minutes.
    bool Send(void const* bytes, std::size_t size);

    /// Waits for that many bytes. False if the other side is gone, or has not sent anything for ten minutes.
    bool Receive(void* bytes, std::size_t size);

private:
    int m_line = -1;
    int m_process = -1; // that we started
};

/// Holds this process to so many seconds of computing and, if `megabytes` is not 0, so much memory in all. It is ended
/// when it goes beyond the first; beyond the second there is no memory to be had. Neither leaves a memory dump.
QKLIB_API void LimitThisProcess(unsigned int seconds, unsigned int megabytes);

/// The folder of the library or program that this code belongs to, as `GetExecutableFolder` tells its own; empty if it is
/// in neither.
QKLIB_API std::string GetFolderOfCode(void (*code)());
} // namespace qklib::platform
