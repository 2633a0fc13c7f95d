// BaseTest.cpp: counted pointers, scripts, log, tables, and names.
#include "QK3DGenName.h"
#include "QKLib.h"
#include "TestLog.h"
#include <cmath>
#include <gtest/gtest.h>
#include <locale>

using qklib::CSharePtr;

namespace {
// Counts how many of it there are, and can look at a pointer to itself while it goes.
struct Counted {
    static inline int alive = 0;
    CSharePtr<Counted>* watched = nullptr;
    CSharePtr<Counted> next;

    Counted() { ++alive; }
    virtual ~Counted() {
        --alive;
        if (watched) { EXPECT_TRUE(watched->IsNull()); }
    }
};

CSharePtr<Counted> MakeCounted() { return {new Counted, qklib::PRM_DELETE}; }

TEST(SharePtr, CountsItsHoldersAndReleasesWithTheLast) {
    CSharePtr<Counted> first = MakeCounted(), second = first, other;
    EXPECT_EQ(first.GetRef(), 2u);
    second = first;
    EXPECT_EQ(first.GetRef(), 2u) << "assigning a holder of the same object";
    EXPECT_EQ(second.Release(), 1u);
    EXPECT_EQ(second.Release(), 0u) << "a second time";
    other.Swap(first);
    EXPECT_TRUE(first.IsNull());
    EXPECT_EQ(Counted::alive, 1);

    other->next = MakeCounted();
    other = other->next; // the right side lies inside the object that goes
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(other.GetRef(), 1u);
    other->watched = &other;
    other.Release();
    EXPECT_EQ(Counted::alive, 0);
}

TEST(SharePtr, ReleasesInItsModeOrdersByCountAndThrowsAtNull) {
    CSharePtr<Counted>(new Counted[3], qklib::PRM_DELETE_ARRAY).Release();
    EXPECT_EQ(Counted::alive, 0);
    CSharePtr<int>(static_cast<int*>(std::malloc(sizeof(int))), qklib::PRM_FREE).Release(); // a sanitizer would object
    CSharePtr<Counted> const one = MakeCounted(), two = MakeCounted(), twoAgain = two, null;
    EXPECT_TRUE(one < two && !(two < one) && !(null < one) && !(one < null));
    EXPECT_TRUE(two == twoAgain && one != two && null == nullptr && one != two.GetPointer());
    EXPECT_THROW((void)null->watched, std::runtime_error);
    EXPECT_THROW((void)*null, std::runtime_error);
}

// Keeps what a script said, and trusts it that a "number" is one.
struct Script : qklib::ISerial {
    Json::Value value;
    bool SetFromParameter(Json::Value const& v) override {
        value = v;
        return v.isObject() && v.get("number", 1).asInt() != 0;
    }
    bool FormatToParameter(Json::Value&) const override { return true; }
};

std::string Nested(int depth, std::string const& open, std::string const& close) {
    std::string text, end;
    for (int i = 0; i < depth; ++i) text += open, end += close;
    return text + "1" + end;
}

TEST(ScriptText, TakesWhatIsAScriptAndRefusesTheRest) {
    struct {
        char const* what;
        std::string text;
        bool good;
    } const rows[] = {
        {"comments", "// first\n{/* \"a\": [ */\"a\": [1, true, null] // last\n}//", true},
        {"what looks like a comment in a string", R"({"a": "//", "b": "/*", "c": "\"//"})", true},
        {"text behind the end", "{} x", false},
        {"a key given twice", R"({"a": 1, "a": 2})", false},
        {"a comma too many in an object", R"({"a": 1,})", false},
        {"a zero byte in a string", std::string("{\"a\": \"\0\"}", 10), false},
        {"a zero byte behind the end", std::string("{}\0{", 4), false},
        {"half a pair of surrogates", R"({"a": "\ud83d"})", false},
        {"a lead byte of GBK alone", "{\"a\": \"\x81\"}", false},
        {"what its reader's library throws at", R"({"number": "text"})", false},
        {"ten levels", R"({"a": )" + Nested(9, "[", "]") + "}", true},
        {"a hundred thousand levels of lists", R"({"a": )" + Nested(100'000, "[", "]") + "}", false},
        {"a hundred thousand levels of objects", Nested(100'000, R"({"a": )", "}"), false},
    };
    for (auto const& row : rows) EXPECT_EQ(Script().SetFromScript(row.text), row.good) << row.what;
    for (std::string const value :
         {"",   "1.",    ".5",     "1e+",       "01",  "+1",      "1e400",     "-",    "nul",     "[1, 2,]",
          "[1", "[1 2]", "{1: 2}", "{\"b\" 1}", "\"x", "\"\\x\"", "\"\\u12\"", "1} /", "1} /* x", "1]"})
        EXPECT_FALSE(Script().SetFromScript("{\"a\": " + value + '}')) << value;

    Script script; // The second byte of the first character is a backslash.
    ASSERT_TRUE(script.SetFromScript("{\"\x90\x5c\": \"\xd6\xd0\\n\\u4E2D\\\"\\ud83d\\ude00.\"}"));
    EXPECT_EQ(script.value["\xe6\x80\xbd"].asString(), "\xe4\xb8\xad\n\xe4\xb8\xad\"\xf0\x9f\x98\x80.") << "UTF-8";
}

// The comma for the point and the point between thousands, as in half of Europe.
struct CommaNumbers : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ScriptText, HasItsNumbersInAnyLocaleOfTheHost) {
    std::locale const before = std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
    for (std::string const number :
         {"-0.0", "1.25e3", "0.1", "3.4028235e38", "1e-400", "4.9e-324", "1000.125", "1E-0",
          "123456789012345678901234567890", "0.0000001e-320", "-1e-99999999999999999999", "12345678.5e-400"}) {
        Script script;
        EXPECT_TRUE(script.SetFromScript(R"({"a": )" + number + "}")) << number;
        EXPECT_EQ(script.value["a"].asDouble(), std::strtod(number.c_str(), nullptr)) << number;
    }
    std::locale::global(before);
}

// What a getter makes of a value; "-" if it refuses, and then it changes nothing.
template <class Value>
std::string Taken(bool (*getter)(Json::Value const&, Value&), Json::Value const& json) {
    Value value = 0;
    std::ostringstream text;
    if (getter(json, value)) return text << value, text.str();
    EXPECT_EQ(value, Value(0));
    return "-";
}

TEST(JsonValues, ComeOverOnlyIfTheyFit) {
    std::pair<char const*, char const*> const rows[] = {
        // taken as int, unsigned int, float, bool
        {"-3", "-3 - -3 1"},     {"2.0", "2 2 2 1"},   {"1.5", "1 1 1.5 1"}, {"3000000000", "- 3000000000 3e+09 1"},
        {"1e30", "- - 1e+30 1"}, {"1e300", "- - - 1"}, {"true", "1 1 1 1"},  {"\"7\"", "- - - -"},
        {"[4]", "- - - -"}};
    for (auto const& [json, taken] : rows) {
        Json::Value root;
        ASSERT_TRUE(qklib::ParseJson(std::string(R"({"a": )") + json + "}", root));
        Json::Value const& a = root["a"];
        EXPECT_EQ(Taken(qklib::ReadInt, a) + ' ' + Taken(qklib::ReadUInt, a) + ' ' + Taken(qklib::ReadFloat, a) + ' ' +
                      Taken(qklib::ReadBool, a),
                  taken)
            << json;
        EXPECT_TRUE(qklib::JsonMember(a, "text").isNull() && qklib::JsonElement(a, 1).isNull()) << json;
    }
}

TEST(Log, SendsLevelPositionAndTextToTheSink) {
    CTestLog log;
    auto* const category = qklib::CLoger::GetLoger().GetCategory("Test");
    QK_LOG_TO(category, LOG_WARNING, "%s, %d", std::string(5000, 'x').c_str(), 7);
    auto const record = log.TakeRecords().at(0);
    EXPECT_EQ(record.level, qklib::LOG_WARNING);
    EXPECT_EQ(record.category, "Test");
    EXPECT_EQ(record.message, std::string(5000, 'x') + ", 7");
    EXPECT_TRUE(record.file.ends_with("BaseTest.cpp")) << record.file;
    EXPECT_EQ(record.line, static_cast<unsigned int>(__LINE__ - 6));
    bool formed = false;
    auto const argument = [&formed] { return formed = true, 1; };
    qklib::CLogCategory* const none = record.line == 0 ? category : nullptr; // in a way the compiler does not see
    QK_LOG_TO(none, LOG_ERROR, "%d", argument());
    EXPECT_FALSE(formed) << "arguments are formed only if someone logs";
}

TEST(Tables, HoldOneTurnInExactQuarters) {
    long double const turn = 2 * std::acos(-1.0L);
    for (int i = 0; i <= 1024; ++i) {
        ASSERT_NEAR(qklib::_sinMap[i], static_cast<double>(std::sin(turn * i / 1024)), 2e-16) << i;
        ASSERT_EQ(qklib::_cosMap[i], qklib::_sinMap[(i + 256) % 1024]) << i;
    }
    EXPECT_DOUBLE_EQ(qklib::_Radian2Size * static_cast<double>(turn), 1024.0);
}

TEST(Text, IsFoldedWithoutHarmToGbk) {
    EXPECT_EQ(qklib::ToUpperAscii("SrcAlpha\xe4"), "SRCALPHA\xe4");
    EXPECT_EQ(qklib::ToLowerNarrow("A\x81\x41\x42"), "a\x81\x41\x62") << "second bytes stay";
}

TEST(GenName, TellsTheTimeAndCountsEachFormAlone) {
    using qk3d::CGenName;
    std::time_t const now = std::time(nullptr);
    std::string const first = CGenName::GenNameByTime_ansi("res", ""), second = CGenName::GenNameByTime_ansi("", "_x");
    unsigned int year, month, time, count, next; // the time is the second of the month
    ASSERT_EQ(std::sscanf(first.c_str(), "res%2X%1X%6X%4X", &year, &month, &time, &count), 4) << first;
    ASSERT_EQ(std::sscanf(second.c_str(), "%*9X%4X_x", &next), 1) << second;
    EXPECT_EQ(next, count + 1);
    EXPECT_EQ(CGenName::GenNameByTime_ucs2(L"", L"").substr(9), L"0000");
    std::tm const utc = *std::gmtime(&now);
    EXPECT_EQ(static_cast<int>(year * 16 + month), utc.tm_year * 16 + utc.tm_mon);
    EXPECT_NEAR(time, ((utc.tm_hour + 24 * utc.tm_mday) * 60 + utc.tm_min) * 60 + utc.tm_sec, 5);
}
} // namespace
