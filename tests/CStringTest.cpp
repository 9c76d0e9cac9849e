#include "host/CString.h"
#include "tests/support/Test.h"

namespace {

TEST(CString, ConvertsEveryWidthAlike) {
    const std::string utf8 = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x91";  // ASCII, 2, 3 and 4 bytes
    const CString narrow(utf8);
    EXPECT_EQ(narrow, CString(L"a\u00E4\u20AC\U0001F511"));
    EXPECT_EQ(narrow, CString(u"a\u00E4\u20AC\U0001F511"));
    EXPECT_EQ(narrow.GetLength(), 5);  // the last one needs two units
    EXPECT_EQ(narrow.toUtf8(), utf8);
    EXPECT_EQ(narrow.toWide(), L"a\u00E4\u20AC\U0001F511");
}

TEST(CString, RefusesTextThatIsNone) {
    for (const char* const bytes :
         {"\xFF", "\xC3", "\xE2\x82", "a\x80", "\xC1\x81", "\xE0\x81\x81", "\xED\xA0\x80",
          "\xED\xB0\x80", "\xED\xA0\xBD\xED\xB4\x91", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80"}) {
        EXPECT_THROW(CString{bytes}, std::range_error) << bytes;
    }
    for (const CString::String& units :
         {CString::String{0xD83D}, {0xDD11}, {'a', 0xDD11, 0xD83D}, {0xD83D, 0xD83D, 0xDD11}}) {
        EXPECT_FALSE(CString(units).isWellFormed());
        EXPECT_THROW(CString(units).toUtf8(), std::range_error);
        EXPECT_NE(CString(units).toWide().find(L'\uFFFD'), std::wstring::npos);
    }
    EXPECT_TRUE(CString(static_cast<const char*>(nullptr)).IsEmpty());
}

TEST(CString, IsAValue) {
    CString one("abc");
    const CString copy = one;
    one += "d";
    EXPECT_EQ(copy, CString("abc"));
    EXPECT_EQ(one, CString("abcd"));
    one.Empty();
    EXPECT_EQ(*one.GetString(), 0);
    EXPECT_EQ(CString(std::string("a\0b", 3)).GetLength(), 3);
}

TEST(CString, ComparesUnitByUnit) {
    EXPECT_LT(CString("A").Compare("a"), 0);
    EXPECT_LT(CString("a").Compare("ab"), 0);
    EXPECT_GT(CString("ab").Compare("a"), 0);
    EXPECT_EQ(CString("a").Compare("a"), 0);
    // U+FF5E is ordered after U+1F511, whose first unit is a surrogate.
    EXPECT_GT(CString("\xEF\xBD\x9E").Compare("\xF0\x9F\x94\x91"), 0);
}

TEST(CString, Tokenizes) {
    struct Case {
        const char* text;
        int start;
        const char* token;
        int next;
    };
    const std::vector<Case> cases = {
        {"ab cd", 0, "ab", 3}, {"ab cd", 3, "cd", 6}, {"  ab", 0, "ab", 5},   {"ab  ", 3, "", -1},
        {"", 0, "", -1},       {"ab", 7, "", -1},     {"a\tb", 0, "a\tb", 4},
    };
    for (const Case& row : cases) {
        int position = row.start;
        EXPECT_EQ(CString(row.text).Tokenize(" ", position), CString(row.token)) << row.text;
        EXPECT_EQ(position, row.next) << row.text;
    }
    int negative = -1;
    EXPECT_THROW(CString("a").Tokenize(" ", negative), std::invalid_argument);
}

}  // namespace
