#include "ask/WebSearch.h"

#include "support/Testing.h"

namespace {

struct WebSearch : testing::Test {
    QTemporaryDir folder;
    const QString script = folder.filePath(u"it's a search"_s);

    void scriptDoes(const QByteArray& lines) const {
        writeProgram(script, "#!/bin/sh\ncd '" + folder.path().toUtf8() + "'\n" + lines);
    }
    [[nodiscard]] QString search(const QString& question = u"x"_s, int limit = 8000) const {
        return googleSearch(question, script, std::chrono::milliseconds(limit));
    }
    [[nodiscard]] QByteArray written(const char* name) const { return readFile(folder.filePath(QLatin1String(name))); }
};

} // namespace

TEST_F(WebSearch, TheScriptGetsTheQuestionAsOneArgument) {
    scriptDoes("printf '%s' \"$1\" >question; echo \"$# $2\" >rest; echo noise >&2\n"
               "echo '[{\"title\":\"T\",\"url\":\"https://u.example\"}]'; exit 3\n");
    for (const char* question : {"it's \"$(touch x)\" `id` \\ ?", "--help", "两\nlines", "''"}) {
        EXPECT_EQ(search(QString::fromUtf8(question)), u"- T — https://u.example"_s);
        EXPECT_EQ(written("question"), question);
        EXPECT_EQ(written("rest"), "2 5\n");
    }
}

TEST_F(WebSearch, WhateverFailsIsNoResult) {
    EXPECT_EQ(search(), QString()) << "missing";
    for (const char* lines :
         {"", "exit 1\n", "echo '[{\"url\":\"https://u.example\"}'\n", "head -c 5000000 /dev/zero\n"}) {
        scriptDoes(lines);
        EXPECT_EQ(search(), QString()) << lines;
    }
    QFile::setPermissions(script, QFile::ReadOwner);
    EXPECT_EQ(search(), QString()) << "not executable";
}

TEST_F(WebSearch, ASearchThatHangsIsEndedWithItsChildren) {
    scriptDoes("trap '' TERM\nsleep 600 &\necho $! >child\necho $$ >self\nwait\n");
    EXPECT_EQ(search(u"x"_s, 400), QString());
    for (const char* name : {"child", "self"}) {
        EXPECT_TRUE(ends(written(name).trimmed().toInt())) << name;
    }
}

TEST_F(WebSearch, ResultsOfAScriptThatDoesNotEndCount) {
    scriptDoes("echo '[{\"url\":\"https://u.example\"}]'\nsleep 600\n");
    EXPECT_EQ(search(u"x"_s, 400), u"-  — https://u.example"_s);
}

TEST(SearchResults, OneLineAnItemInOrder) {
    const struct {
        const char *json, *text;
    } rows[] = {
        {R"([{"title":"A","url":"u","snippet":"s"},{"title":"B","url":"v"}])", "- A — u\n  s\n- B — v"},
        {R"([{"title":"A"},{"title":"B","url":""},{"url":7},{"title":null,"url":"w","snippet":3}])", "-  — w"},
        {R"([{"title":"50% of %1","url":"%2"}])", "- 50% of %1 — %2"},
        {"[]", ""},
        {R"([{"url":"u"},"text"])", ""},
        {R"({"url":"u"})", ""},
        {"not json", ""},
        {"", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(searchResultText(row.json), QString::fromUtf8(row.text)) << row.json;
}

TEST(SearchResults, TheBlockQuotesTheQuestionOrForbidsDirectLinks) {
    EXPECT_EQ(groundingBlock(u"x %1"_s, u"- A — u"_s),
              u"Web search results for \"x %1\" (use ONLY these real URLs for links — do not invent or "
              "recall any other URL):\n- A — u"_s);
    EXPECT_TRUE(groundingBlock(u"x"_s, {})
                    .endsWith(u"Google search: [Name](https://www.google.com/search?q=URL_ENCODED_NAME). "
                              "This is mandatory."_s));
}

TEST(SearchResults, OnlyLettersMarksAndDigitsStayInASearchAddress) {
    const struct {
        const char *query, *encoded;
    } rows[] = {
        {"a b&c", "a%20b%26c"}, {"é例٣", "é例٣"}, {"नी", "नी"}, {"-._~/+%", "%2D%2E%5F%7E%2F%2B%25"},
        {"😀", "%F0%9F%98%80"},  {"𝒜", "𝒜"},       {"", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(googleSearchURL(QString::fromUtf8(row.query)),
                  u"https://www.google.com/search?q="_s + QString::fromUtf8(row.encoded));
}
