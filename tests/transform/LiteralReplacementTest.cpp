#include "transform/LiteralReplacement.h"
#include "transform/ReplaceTarget.h"
#include "support/Testing.h"

TEST(LiteralReplacement, TheWordsThemselvesOrAnInstruction) {
    const struct {
        const char* instruction;
        const char* literal; ///< null: for the agent
    } rows[] = {
        {"replace with Acme Corp", "Acme Corp"},
        {"  Replace THIS with \"Acme Corp\" \n", "Acme Corp"},
        {"change it to 42", "42"},
        {"set text for hello world", "hello world"},
        {"rename to the report that nine people wrote in only two days",
         "the report that nine people wrote in only two days"},
        {"switch  that\tto  x", "x"},
        {"swap for 'single'", "single"},
        {"replace them with x", "replace them with x"}, // no form of naming, but short
        {"Hello there", "Hello there"},
        {"one two three four five six seven eight", "one two three four five six seven eight"},
        {"one two three four five six seven eight nine", nullptr},
        {"one  two   three four five six seven eight", "one  two   three four five six seven eight"},
        {"replace with one\ntwo", "replace with one\ntwo"}, // a name is one line
        {"replace with one\u2028two", "replace with one\u2028two"},
        {"make it shorter", nullptr},
        {"Make it shorter", nullptr},
        {"maker", "maker"},
        {"uppercase this", nullptr},
        {"uppercaseX", nullptr},
        {"CONDENSE it", nullptr},
        {"make", "make"},
        {"'", "'"},
        {"''", ""},
        {"\u201CGrüße 🙂\u201D", "Grüße 🙂"},
        {"\"mixed'", "mixed"},
        {"\"\"twice\"\"", "\"twice\""},
        {"\" inside \"", " inside "},
        {"say \"this\"", "say \"this\""},
        {"🙂", "🙂"},
    };
    for (const auto& row : rows) {
        const auto literal = literalReplacement(QString::fromUtf8(row.instruction));
        EXPECT_EQ(literal.has_value(), row.literal != nullptr) << row.instruction;
        EXPECT_EQ(literal.value_or(QString()), QString::fromUtf8(row.literal)) << row.instruction;
    }
    EXPECT_EQ(stripQuotes(u" \t'a'\t "_s), u"a"_s);
    EXPECT_EQ(stripQuotes(u"\n'a'"_s), u"\n'a'"_s) << "a line end is no blank";
}

TEST(ReplaceTarget, TheFirstMatchWins) {
    const struct {
        const char *bundle, *url;
        bool owned;
        const char* script;
    } rows[] = {
        {"com.orlanvex.torvi", "file:///a", true, "ovalin-replace-torvi.sh"},
        {"com.tamsery.quarn", "https://a/", true, "ovalin-replace-quarn.sh"},
        {"firefox", "file:///a b.html", true, "ovalin-replace-file.sh"},
        {"firefox", "https://a/", true, "ovalin-replace-web.sh"},
        {"firefox", "https://a/", false, "ovalin-transform.sh"},
        {"firefox", "about:blank", true, "ovalin-transform.sh"},
        {"Mousepad", nullptr, true, "ovalin-transform.sh"},
    };
    for (const auto& row : rows) {
        CaptureContext context;
        context.capBundle = QString::fromLatin1(row.bundle);
        if (row.url)
            context.capURL = QString::fromLatin1(row.url);
        if (row.owned)
            context.capSiteOwned = true;
        EXPECT_EQ(replaceScript(replaceTarget(context)), QString::fromLatin1(row.script)) << row.bundle << row.url;
    }
}
