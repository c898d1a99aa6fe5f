#include "base/Config.h"

#include "support/Testing.h"

using testing::ElementsAre;

namespace {

Config read(const QByteArray& text) {
    const QTemporaryDir folder;
    writeFile(folder.filePath(u"config"_s), text);
    return readConfig(folder.filePath(u"config"_s));
}

} // namespace

TEST(Config, EveryKeyIsTaken) {
    const Config config = read("\xEF\xBB\xBF# mine\r\n hotkey = Super+Space \r\n"
                               "exclude=Secrets, *bank*\nexclude=org.keys.App\nprocessed_days=0\nappearance=Contrast\n"
                               "dictation_punctuation=off\nreduced_motion=yes\nhotkey=Ctrl+F9");
    EXPECT_EQ(config.hotkey, u"Ctrl+F9"_s);
    EXPECT_EQ(config.exclude, QStringList({u"Secrets"_s, u"*bank*"_s, u"org.keys.App"_s}));
    EXPECT_EQ(config.processedDays, 0);
    EXPECT_EQ(config.appearance, Config::Appearance::Contrast);
    EXPECT_FALSE(config.punctuation);
    EXPECT_TRUE(config.reducedMotion);
    EXPECT_TRUE(config.complaints.isEmpty());
}

TEST(Config, NonsenseInALineIsToldWithItsNumberAndTheRestIsUsed) {
    for (const QByteArray nonsense :
         {"gibberish", "=", "hotkye=Alt+F1", "hotkey=", "processed_days=-1", "processed_days=9e9", "appearance=pink",
          "reduced_motion=maybe", "exclude=\xff\xfe", "exclude=, ,", "[section]", "\x01\x02"}) {
        const Config config = read("hotkey=Alt+F1\n" + nonsense + "\nprocessed_days=7");
        ASSERT_EQ(config.complaints.size(), 1) << nonsense.constData();
        EXPECT_TRUE(config.complaints[0].startsWith(u"line 2 "_s)) << qPrintable(config.complaints[0]);
        EXPECT_EQ(config.hotkey, u"Alt+F1"_s) << nonsense.constData();
        EXPECT_EQ(config.processedDays, 7) << nonsense.constData();
    }
    EXPECT_EQ(read(QByteArray("x\n").repeated(5000)).complaints.size(), 21);
}

TEST(Config, AFileThatCannotBeReadIsAComplaintAndNoneIsNot) {
    const QTemporaryDir folder;
    EXPECT_TRUE(readConfig(folder.filePath(u"none"_s)).complaints.isEmpty());
    EXPECT_THAT(readConfig(folder.path()).complaints, ElementsAre(u"cannot be read — is a directory"_s));
    EXPECT_THAT(read(QByteArray(2 << 20, '#')).complaints, ElementsAre(u"is too large to be read"_s));
}
