// QKLog.h: log lines, their categories, and the one place where they come out.
#pragma once

#include "QKExport.h"
#include "QKTypes.h"
#include <new>

namespace qklib {
enum ELogLevel : unsigned int {
    LOG_DEBUG = 2,
    LOG_INFO = 4,    // the last line of a long-lived object
    LOG_WARNING = 8, // trouble with a resource or a script that the caller survives
    LOG_ERROR = 16,  // a fault inside the library
};

/// One log line, formatted. It lives as long as the call of the sink.
struct LogRecord {
    ELogLevel level;
    string category;
    string file;
    unsigned int line;
    string function; // qualified, without result and parameters: "qk3d::CFactory::~CFactory"
    string message;
};

/// Gets every log line of the process. It may log itself; what it throws reaches the one who logged.
using LogSink = void (*)(LogRecord const& record, void* user);

/// A named channel of log lines.
class QKLIB_API CLogCategory {
public:
    explicit CLogCategory(string const& name) : m_name(name) {}
    CLogCategory(CLogCategory const&) = delete;
    CLogCategory& operator=(CLogCategory const&) = delete;

    /// `format` is a printf format. Use QK_LOG_TO, which supplies the position.
    void Log(ELogLevel level, string const& file, unsigned int line, string const& function, char const* format, ...)
        QKLIB_PRINTF(6, 7);

    string const& GetName() const { return m_name; }

private:
    string m_name;
};

/// The log hub. There is one in the process, it can be used while static objects are built and until the last of
/// them is gone. Belongs to one thread like everything else here.
class QKLIB_API CLoger {
public:
    CLoger(CLoger const&) = delete;
    CLoger& operator=(CLoger const&) = delete;

    static CLoger& GetLoger();

    /// The category of that name, made on first use. It is never destroyed.
    CLogCategory* GetCategory(string const& name);

    /// Sends all lines to `sink`, together with `user`. Null brings the default back: one line a record on standard
    /// error.
    static void SetSink(LogSink sink, void* user);

private:
    CLoger() = default;
    friend class CLogCategory;

    LogSink m_sink = nullptr;
    void* m_user = nullptr;
};

/// Cuts result and parameters off what __PRETTY_FUNCTION__ says.
QKLIB_API string QualifiedFunctionName(char const* prettyFunction);
} // namespace qklib

/// Logs to the category at the pointer `category`: QK_LOG_TO(category, LOG_WARNING, "No such thing : %s", name). Null
/// logs nothing, and the arguments are not even formed. A line for which there is no memory is lost: destructors log too.
#define QK_LOG_TO(category, level, ...)                                                                                \
    do {                                                                                                               \
        using enum ::qklib::ELogLevel;                                                                                 \
        if (::qklib::CLogCategory* const qkLogCategory = (category)) {                                                 \
            try {                                                                                                      \
                qkLogCategory->Log(level, __FILE__, __LINE__, ::qklib::QualifiedFunctionName(__PRETTY_FUNCTION__),     \
                                   __VA_ARGS__);                                                                       \
            } catch (std::bad_alloc const&) {                                                                          \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)
