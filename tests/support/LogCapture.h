// LogCapture.h: listens to the log for as long as it lives.
#pragma once

#include "QKLog.h"
#include <string>
#include <utility>

/// Every line is "LEVEL FUNCTION : MESSAGE\n", with the level as a number and the function without namespace.
class LogCapture {
public:
    LogCapture() { qklib::CLoger::SetSink(&LogCapture::Write, this); }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;
    ~LogCapture() { qklib::CLoger::SetSink(nullptr, nullptr); }

    /// The lines since the last take.
    std::string Take() { return std::exchange(m_lines, std::string()); }

private:
    static void Write(qklib::LogRecord const& record, void* user) {
        std::string function = record.function;
        if (function.starts_with("qk3d::")) function.erase(0, 6);
        static_cast<LogCapture*>(user)->m_lines +=
            std::to_string(record.level) + " " + function + " : " + record.message + "\n";
    }

    std::string m_lines;
};
