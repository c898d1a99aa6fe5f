#include "base/SetAside.h"
#include "base/WholeFile.h"

#include "base/Descriptor.h"
#include "base/FileLock.h"
#include "support/Limits.h"
#include "support/Testing.h"

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

struct WholeFile : testing::Test {
    QTemporaryDir folder;
    QString path(const QString& name) const { return folder.filePath(name); }
    QString file = path(u"a.json"_s);

    QStringList names() const {
        return QDir(folder.path()).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    static mode_t modeOf(const QString& name) {
        struct stat status {};
        ::stat(QFile::encodeName(name).constData(), &status);
        return status.st_mode & 07777;
    }
};

} // namespace

TEST_F(WholeFile, ReplacingKeepsTheModeAndANewFileIsPrivate) {
    ASSERT_TRUE(replaceFile(file, "one"));
    EXPECT_EQ(modeOf(file), 0600U);
    ::chmod(QFile::encodeName(file).constData(), 0644);
    ASSERT_TRUE(replaceFile(file, "two"));
    EXPECT_EQ(modeOf(file), 0644U);
    EXPECT_EQ(readFile(file), "two");
    EXPECT_EQ(names(), QStringList{u"a.json"_s});
}

TEST_F(WholeFile, SymbolicLinksAreFollowedUnlessTold) {
    QDir(folder.path()).mkpath(u"far"_s);
    QFile::link(u"far/b.json"_s, file); // dangling, relative
    QFile::link(file, path(u"c.json"_s));
    ASSERT_TRUE(replaceFile(path(u"c.json"_s), "x"));
    EXPECT_EQ(readFile(path(u"far/b.json"_s)), "x");
    EXPECT_TRUE(QFileInfo(file).isSymLink());

    ReplaceOptions options;
    options.followLinks = false;
    ASSERT_TRUE(replaceFile(file, "y", options));
    EXPECT_FALSE(QFileInfo(file).isSymLink());
    EXPECT_EQ(readFile(path(u"far/b.json"_s)), "x");
}

TEST_F(WholeFile, AFailureNamesItsStepAndLeavesWhatWasThere) {
    writeFile(path(u"plain"_s), "text");
    QFile::link(u"loop"_s, path(u"loop"_s));
    QFile::link(u"/dev/full"_s, path(u"device"_s));
    QDir(folder.path()).mkpath(u"folder"_s);
    const QStringList before = names();
    const std::pair<const char*, const char*> rows[] = {{"plain/a.json", "Not a directory"},
                                                        {"missing/a.json", "No such file or directory"},
                                                        {"loop", "Too many levels"},
                                                        {"device", "Invalid argument"},
                                                        {"folder", "Is a directory"}};
    for (const auto& [name, reason] : rows) {
        const auto replaced = replaceFile(path(QLatin1String(name)), "x");
        ASSERT_FALSE(replaced) << name;
        EXPECT_TRUE(replaced.error().contains(QLatin1String(reason))) << replaced.error().toStdString();
    }
    {
        const FileSizeLimit full(1000);
        EXPECT_TRUE(replaceFile(path(u"plain"_s), QByteArray(5000, 'x')).error().startsWith(u"write "_s));
    }
    EXPECT_EQ(readFile(path(u"plain"_s)), "text");
    EXPECT_FALSE(ensureFolder(path(u"plain/below"_s)));
    EXPECT_EQ(names(), before);
}

TEST_F(WholeFile, ReadingPassesOverWhatIsNoFile) {
    ::mkfifo(QFile::encodeName(file).constData(), 0600);
    EXPECT_FALSE(readWholeFile(file)) << "and does not wait for a writer";
    EXPECT_FALSE(readWholeFile(folder.path()));
    writeFile(path(u"huge"_s), {});
    QFile::resize(path(u"huge"_s), qint64{257} << 20);
    EXPECT_FALSE(readWholeFile(path(u"huge"_s))) << "what is not read must not pass for empty";
    const auto missing = readWholeFile(path(u"missing"_s));
    ASSERT_TRUE(missing);
    EXPECT_FALSE(missing->version.exists);
}

TEST_F(WholeFile, AnEditThatCameBetweenStands) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"replaced",
         [this] {
             writeFile(path(u"other"_s), "theirs");
             ::rename(QFile::encodeName(path(u"other"_s)).constData(), QFile::encodeName(file).constData());
         }},
        {"in place", [this] { writeFile(file, "theirs"); }},
        {"in place, same size and time",
         [this] {
             struct stat status {};
             ::stat(QFile::encodeName(file).constData(), &status);
             QFile edited(file);
             ASSERT_TRUE(edited.open(QIODevice::ReadWrite));
             edited.write("theirs");
             edited.close();
             const timespec times[] = {status.st_atim, status.st_mtim};
             ::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0);
         }},
    };
    for (const auto& [name, edit] : rows) {
        writeFile(file, "before");
        const auto read = readWholeFile(file);
        ASSERT_TRUE(read);
        edit();
        EXPECT_EQ(replaceIfUnchanged(file, *read, "ours"), Replaced::Changed) << name;
        EXPECT_EQ(readFile(file), "theirs") << name;
        EXPECT_EQ(names(), QStringList{u"a.json"_s}) << name;
    }

    const FileContents theirs = *readWholeFile(file);
    {
        const Descriptor writer(::open(QFile::encodeName(file).constData(), O_WRONLY));
        EXPECT_EQ(replaceIfUnchanged(file, theirs, "ours"), Replaced::Changed) << "he may write at any moment";
    }
    EXPECT_EQ(replaceIfUnchanged(file, {}, "ours"), Replaced::Changed) << "there was none";
    EXPECT_EQ(replaceIfUnchanged(file, theirs, "ours"), Replaced::Done);
    EXPECT_EQ(readFile(file), "ours");
    QFile::remove(file);
    EXPECT_EQ(replaceIfUnchanged(file, theirs, "ours"), Replaced::Changed) << "it was removed";
    EXPECT_EQ(replaceIfUnchanged(file, {}, "new"), Replaced::Done);
    EXPECT_EQ(names(), QStringList{u"a.json"_s});
}

TEST_F(WholeFile, SettingAsideTakesAFreeNameAndOnlyTheFileThatWasSeen) {
    QStringList asides;
    for (const char* text : {"one", "two"}) {
        writeFile(file, text);
        const auto aside = setAside(file, versionOf(file));
        ASSERT_TRUE(aside && !aside->isEmpty());
        EXPECT_EQ(readFile(*aside), text);
        asides.append(*aside);
    }
    EXPECT_NE(asides[0], asides[1]);
    writeFile(file, "damaged");
    const FileVersion seen = versionOf(file);
    writeFile(file, "put right");
    EXPECT_EQ(setAside(file, seen), QString());
    EXPECT_EQ(readFile(file), "put right");
}

TEST_F(WholeFile, ALockThatIsHeldIsWaitedForButNotForEver) {
    auto first = std::make_unique<FileLock>(file);
    EXPECT_TRUE(first->held());
    EXPECT_FALSE(FileLock(file, 30ms).held());
    std::thread later([&] { first.reset(); });
    EXPECT_TRUE(FileLock(file, 10s).held());
    later.join();
    EXPECT_FALSE(FileLock(path(u"missing/a.json"_s)).held()) << "where no lock file can be made";
}
