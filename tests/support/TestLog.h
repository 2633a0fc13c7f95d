// TestLog.h: catches the log lines of a test, to compare level and text.
#pragma once

#include "QKLog.h"
#include <string>
#include <utility>
#include <vector>

/// While it lives, every log line of the process comes here and not to standard error. One at a time.
class CTestLog {
public:
    CTestLog() {
        auto const keep = [](qklib::LogRecord const& record, void* user) {
            static_cast<CTestLog*>(user)->m_records.push_back(record);
        };
        qklib::CLoger::SetSink(keep, this);
    }
    CTestLog(CTestLog const&) = delete;
    CTestLog& operator=(CTestLog const&) = delete;
    ~CTestLog() { qklib::CLoger::SetSink(nullptr, nullptr); }

    /// The lines since the last call, each as level and message, in a form that compares and prints: "8 No find : x".
    /// Those below `lowest` are dropped.
    std::vector<std::string> TakeLines(qklib::ELogLevel lowest = qklib::LOG_DEBUG) {
        std::vector<std::string> lines;
        for (auto const& record : TakeRecords())
            if (record.level >= lowest) lines.push_back(std::to_string(record.level) + ' ' + record.message);
        return lines;
    }

    /// The same as one text, where each line also names the function without our namespace:
    /// "8 CResourceManager::CreateResource : No find : x\n".
    std::string TakeText() {
        std::string text;
        for (auto const& record : TakeRecords())
            text += std::to_string(record.level) + ' ' +
                    record.function.substr(record.function.starts_with("qk3d::") ? 6 : 0) + " : " + record.message +
                    '\n';
        return text;
    }

    /// The same with everything that is known of a line.
    std::vector<qklib::LogRecord> TakeRecords() { return std::exchange(m_records, {}); }

private:
    std::vector<qklib::LogRecord> m_records;
};

/// How TakeLines writes these lines: EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_INFO, "CFactory Destroy"}})).
inline std::vector<std::string> LogLines(std::vector<std::pair<qklib::ELogLevel, std::string>> const& lines) {
    std::vector<std::string> result;
    for (auto const& [level, message] : lines) result.push_back(std::to_string(level) + ' ' + message);
    return result;
}
