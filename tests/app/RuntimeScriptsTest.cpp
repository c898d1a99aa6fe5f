#include "app/RuntimeScripts.h"

#include "base/Log.h"
#include "support/TestDesk.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

struct RuntimeScripts : testing::Test {
    QTemporaryDir folder;
    QStringList log;
    QString bundled(const char* name) const {
        return folder.filePath(QStringLiteral("res/bin/") + QLatin1String(name));
    }
    QString installed(const char* name) const { return folder.filePath(QStringLiteral("a/b/") + QLatin1String(name)); }

    RuntimeScripts() {
        setLogSink([this](const QString& line) { log.append(line); });
    }
    ~RuntimeScripts() override { setLogSink({}); }
    void install() const {
        installBundledScripts(folder.filePath(QStringLiteral("res")), folder.filePath(QStringLiteral("a/b")));
    }
};

} // namespace

TEST_F(RuntimeScripts, OnlyMissingScriptsAreCopiedAndMadeExecutable) {
    for (const char* name : {"new.sh", "edited.sh", "linked.sh", ".hidden"})
        writeFile(bundled(name), "bundled");
    writeFile(installed("edited.sh"), "the user's");
    QFile::link(QStringLiteral("nowhere"), installed("linked.sh"));
    install();
    EXPECT_EQ(readFile(installed("new.sh")), "bundled");
    EXPECT_TRUE(QFileInfo(installed("new.sh")).isExecutable());
    EXPECT_EQ(readFile(installed("edited.sh")), "the user's");
    EXPECT_FALSE(QFileInfo::exists(installed("nowhere")) || QFileInfo::exists(installed(".hidden")));
    EXPECT_EQ(log, QStringList{QStringLiteral("Ovalin: installed 1 bundled runtime scripts")});
    install();
    EXPECT_EQ(log.size(), 1) << "nothing copied, nothing said";
}

TEST_F(RuntimeScripts, AFailedCopyIsLoggedAndTheOthersGoOn) {
    writeFile(bundled("good.sh"), "x");
    QDir().mkpath(bundled("folder"));
    install();
    EXPECT_EQ(log, (QStringList{QStringLiteral("Ovalin: bundled script install failed for folder"),
                                QStringLiteral("Ovalin: installed 1 bundled runtime scripts")}));
    log.clear();
    installBundledScripts({}, folder.filePath(QStringLiteral("c")));
    writeFile(folder.filePath(QStringLiteral("c")), "a file");
    installBundledScripts(folder.filePath(QStringLiteral("res")), folder.filePath(QStringLiteral("c")));
    EXPECT_EQ(log.size(), 2);
}
