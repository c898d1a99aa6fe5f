#include "app/RuntimeScripts.h"

#include "support/Testing.h"

#include <QCryptographicHash>

namespace {

struct RuntimeScripts : testing::Test {
    QTemporaryDir folder;
    LogRecorder log;
    QString bundled(const char* name) const { return folder.filePath(u"res/bin/"_s + QLatin1String(name)); }
    QString installed(const char* name) const { return folder.filePath(u"a/b/"_s + QLatin1String(name)); }

    [[nodiscard]] ScriptFolders folders() const {
        return {folder.filePath(u"res"_s), folder.filePath(u"a/b"_s), folder.filePath(u"state"_s)};
    }
    void install() const { installBundledScripts(folders()); }
};

} // namespace

TEST_F(RuntimeScripts, OnlyMissingScriptsAreCopiedAndMadeExecutable) {
    for (const char* name : {"new.sh", "edited.sh", "linked.sh", ".hidden"})
        writeFile(bundled(name), "bundled");
    writeFile(installed("edited.sh"), "the user's");
    QFile::link(u"nowhere"_s, installed("linked.sh"));
    install();
    EXPECT_EQ(readFile(installed("new.sh")), "bundled");
    EXPECT_TRUE(QFileInfo(installed("new.sh")).isExecutable());
    EXPECT_EQ(readFile(installed("edited.sh")), "the user's");
    EXPECT_FALSE(QFileInfo::exists(installed("nowhere")) || QFileInfo::exists(installed(".hidden")));
    EXPECT_EQ(log.lines.value(0), u"Ovalin: installed 1 bundled runtime scripts"_s);
    EXPECT_TRUE(log.lines.value(1).contains(u"edited.sh, linked.sh"_s)) << "what stays is told";
    install();
    EXPECT_EQ(log.lines.size(), 3) << "nothing copied, nothing said of it";
}

TEST_F(RuntimeScripts, WhatNobodyChangedFollowsAnUpgradeAndNothingElseDoes) {
    // From before the sums were remembered.
    const QByteArray ancient = "of version 0";
    writeFile(folder.filePath(u"res/earlier-scripts"_s),
              QCryptographicHash::hash(ancient, QCryptographicHash::Sha256).toHex() + "  ancient.sh\nnonsense\n");
    for (const char* name : {"kept.sh", "edited.sh", "ancient.sh", "foreign.sh"})
        writeFile(bundled(name), "version 1");
    writeFile(installed("ancient.sh"), ancient);
    writeFile(installed("foreign.sh"), ancient);
    install();
    EXPECT_EQ(readFile(installed("ancient.sh")), "version 1");
    EXPECT_EQ(readFile(installed("foreign.sh")), ancient) << "the sum is another script's";
    writeFile(installed("edited.sh"), "mine");
    for (const char* name : {"kept.sh", "edited.sh", "ancient.sh", "foreign.sh"})
        writeFile(bundled(name), "version 2");
    EXPECT_EQ(scriptStates(folders()).older, QStringList({u"ancient.sh"_s, u"kept.sh"_s}));
    EXPECT_EQ(scriptStates(folders()).changed, QStringList({u"edited.sh"_s, u"foreign.sh"_s}));
    install();
    EXPECT_EQ(readFile(installed("kept.sh")), "version 2");
    EXPECT_TRUE(QFileInfo(installed("kept.sh")).isExecutable());
    EXPECT_EQ(readFile(installed("edited.sh")), "mine");
    EXPECT_EQ(scriptStates(folders()).same, QStringList({u"ancient.sh"_s, u"kept.sh"_s}));
    writeFile(bundled("kept.sh"), "version 1"); // back to the older package
    install();
    EXPECT_EQ(readFile(installed("kept.sh")), "version 1");
}

TEST_F(RuntimeScripts, AFailedCopyIsLoggedAndTheOthersGoOn) {
    writeFile(bundled("good.sh"), "x");
    QDir().mkpath(bundled("folder"));
    install();
    EXPECT_EQ(log.lines, (QStringList{u"Ovalin: bundled script install failed for folder"_s,
                                      u"Ovalin: installed 1 bundled runtime scripts"_s}));
    log.lines.clear();
    installBundledScripts({{}, folder.filePath(u"c"_s), {}});
    writeFile(folder.filePath(u"c"_s), "a file");
    installBundledScripts({folder.filePath(u"res"_s), folder.filePath(u"c"_s), folder.filePath(u"state2"_s)});
    EXPECT_EQ(log.lines.size(), 2);
}
