// TestLog.cpp: the listener on the log.
#include "TestLog.h"

namespace {
std::string Write(qklib::ELogLevel level, std::string const& message) { return std::to_string(level) + ' ' + message; }
} // namespace

CTestLog::CTestLog() {
    qklib::CLoger::SetSink(
        [](qklib::LogRecord const& record, void* user) { static_cast<CTestLog*>(user)->m_records.push_back(record); },
        this);
}

CTestLog::~CTestLog() { qklib::CLoger::SetSink(nullptr, nullptr); }

std::vector<std::string> CTestLog::TakeLines() {
    std::vector<std::string> lines;
    for (auto const& record : TakeRecords()) lines.push_back(Write(record.level, record.message));
    return lines;
}

std::vector<qklib::LogRecord> CTestLog::TakeRecords() { return std::exchange(m_records, {}); }

std::vector<std::string> LogLines(std::initializer_list<CTestLog::Line> lines) {
    std::vector<std::string> result;
    for (auto const& [level, message] : lines) result.push_back(Write(level, message));
    return result;
}
