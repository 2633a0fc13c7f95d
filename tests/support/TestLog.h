// TestLog.h: catches the log lines of a test, to compare level and text.
#pragma once

#include "QKLog.h"
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

/// While it lives, every log line of the process comes here and not to standard error. One at a time.
class CTestLog {
public:
    using Line = std::pair<qklib::ELogLevel, std::string>;

    CTestLog();
    CTestLog(CTestLog const&) = delete;
    CTestLog& operator=(CTestLog const&) = delete;
    ~CTestLog();

    /// The lines since the last call, each as level and message, in a form that compares and prints: "8 No find : x".
    /// Those below `lowest` are dropped.
    std::vector<std::string> TakeLines(qklib::ELogLevel lowest = qklib::LOG_DEBUG);

    /// The same as one text, where each line also names the function without our namespace:
    /// "8 CResourceManager::CreateResource : No find : x\n".
    std::string TakeText();

    /// The same with everything that is known of a line.
    std::vector<qklib::LogRecord> TakeRecords();

private:
    std::vector<qklib::LogRecord> m_records;
};

/// How TakeLines writes these lines: EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_INFO, "CFactory Destroy"}})).
std::vector<std::string> LogLines(std::initializer_list<CTestLog::Line> lines);
