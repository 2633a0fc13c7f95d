// TestLog.cpp: the listener on the log.
#include "TestLog.h"

#include <string_view>

namespace {
std::string Write(qklib::ELogLevel level, std::string const& message) { return std::to_string(level) + ' ' + message; }
} // namespace

CTestLog::CTestLog() {
    qklib::CLoger::SetSink(
        [](qklib::LogRecord const& record, void* user) { static_cast<CTestLog*>(user)->m_records.push_back(record); },
        this);
}

CTestLog::~CTestLog() { qklib::CLoger::SetSink(nullptr, nullptr); }

std::vector<std::string> CTestLog::TakeLines(qklib::ELogLevel lowest) {
    std::vector<std::string> lines;
    for (auto const& record : TakeRecords())
        if (record.level >= lowest) lines.push_back(Write(record.level, record.message));
    return lines;
}

std::string CTestLog::TakeText() {
    std::string text;
    for (auto const& record : TakeRecords()) {
        std::string_view function = record.function;
        if (function.starts_with("qk3d::")) function.remove_prefix(6);
        text += Write(record.level, std::string(function) + " : " + record.message) + '\n';
    }
    return text;
}

std::vector<qklib::LogRecord> CTestLog::TakeRecords() { return std::exchange(m_records, {}); }

std::vector<std::string> LogLines(std::initializer_list<CTestLog::Line> lines) {
    std::vector<std::string> result;
    for (auto const& [level, message] : lines) result.push_back(Write(level, message));
    return result;
}
