#include "app/RuntimeScripts.h"

#include "support/Testing.h"

namespace {

struct RuntimeScripts : testing::Test {
    QTemporaryDir folder;
    LogRecorder log;
    QString bundled(const char* name) const { return folder.filePath(u"res/bin/"_s + QLatin1String(name)); }
    QString installed(const char* name) const { return folder.filePath(u"a/b/"_s + QLatin1String(name)); }

    void install() const { installBundledScripts(folder.filePath(u"res"_s), folder.filePath(u"a/b"_s)); }
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
    EXPECT_EQ(log.lines, QStringList{u"Ovalin: installed 1 bundled runtime scripts"_s});
    install();
    EXPECT_EQ(log.lines.size(), 1) << "nothing copied, nothing said";
}

TEST_F(RuntimeScripts, AFailedCopyIsLoggedAndTheOthersGoOn) {
    writeFile(bundled("good.sh"), "x");
    QDir().mkpath(bundled("folder"));
    install();
    EXPECT_EQ(log.lines, (QStringList{u"Ovalin: bundled script install failed for folder"_s,
                                      u"Ovalin: installed 1 bundled runtime scripts"_s}));
    log.lines.clear();
    installBundledScripts({}, folder.filePath(u"c"_s));
    writeFile(folder.filePath(u"c"_s), "a file");
    installBundledScripts(folder.filePath(u"res"_s), folder.filePath(u"c"_s));
    EXPECT_EQ(log.lines.size(), 2);
}
