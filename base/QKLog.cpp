// QKLog.cpp: forms log lines and sends them to the sink.
#include "QKLog.h"
#include <cstdarg>
#include <cstdio>
#include <map>
#include <memory>
#include <string_view>

namespace qklib {
namespace {
char const* LevelName(ELogLevel level) {
    switch (level) {
    case LOG_DEBUG: return "debug";
    case LOG_INFO: return "info";
    case LOG_WARNING: return "warning";
    case LOG_ERROR: return "error";
    }
    return "log";
}

void WriteToStandardError(LogRecord const& record) {
    std::fprintf(stderr, "%s %s: %s (%s, %s:%u)\n", record.category.c_str(), LevelName(record.level),
                 record.message.c_str(), record.function.c_str(), record.file.c_str(), record.line);
}

string Format(char const* format, va_list arguments) {
    va_list counted;
    va_copy(counted, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    if (length < 0) return format; // better a line with its holes open than none
    string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}
} // namespace

void CLogCategory::Log(ELogLevel level, string const& file, unsigned int line, string const& function,
                       char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    string message = Format(format, arguments);
    va_end(arguments);

    LogRecord const record{level, m_name, file, line, function, std::move(message)};
    CLoger const& loger = CLoger::GetLoger();
    if (loger.m_sink)
        loger.m_sink(record, loger.m_user);
    else
        WriteToStandardError(record);
}

CLoger& CLoger::GetLoger() {
    static CLoger* const loger = new CLoger; // never destroyed: the last static object of the process may still log
    return *loger;
}

CLogCategory* CLoger::GetCategory(string const& name) {
    static auto* const categories = new std::map<string, std::unique_ptr<CLogCategory>>;
    auto& category = (*categories)[name];
    if (!category) category = std::make_unique<CLogCategory>(name);
    return category.get();
}

void CLoger::SetSink(LogSink sink, void* user) {
    GetLoger().m_sink = sink;
    GetLoger().m_user = user;
}

string QualifiedFunctionName(char const* prettyFunction) {
    // "virtual int* qk3d::CPool<T>::Find(int) const [with T = ...]": the name starts behind the last blank before the
    // parenthesis of the parameters. Template arguments, operators and unnamed namespaces are looked over.
    constexpr std::string_view kUnnamed = "(anonymous namespace)";
    std::string_view const text = prettyFunction;
    std::size_t start = 0;
    std::size_t end = 0;
    int depth = 0;
    for (; end < text.size(); ++end) {
        char const c = text[end];
        if (text.substr(end).starts_with(kUnnamed))
            end += kUnnamed.size() - 1;
        else if (text.substr(0, end).ends_with("operator"))
            continue;
        else if (c == '<')
            ++depth;
        else if (c == '>' && depth > 0)
            --depth;
        else if (c == '(' && depth == 0)
            break;
        else if (c == ' ' && depth == 0)
            start = end + 1;
    }
    while (start < end && (text[start] == '*' || text[start] == '&')) ++start; // one compiler writes "int *Find(int)"
    return string(text.substr(start, end - start));
}
} // namespace qklib
