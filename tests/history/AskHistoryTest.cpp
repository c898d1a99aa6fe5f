#include "history/AskHistory.h"

#include "fakes/FakeDispatch.h"
#include "history/TitleJob.h"

namespace {

struct AskHistoryTest : testing::Test {
    QTemporaryDir folder;
    FakeDispatch dispatch;
    const QString file = AskHistory::storePath(folder.filePath(u"CLAUDE/system"_s));
    const QString agent = folder.filePath(u"it's an agent"_s);
    AskHistory history{dispatch, file, AgentSearch{{agent}}};
    LogRecorder log;

    AskHistoryTest() { dispatch.runAtOnce = false; }

    void agentDoes(const QByteArray& lines) const { writeProgram(agent, "#!/bin/sh\n" + lines); }
    void settle() { dispatch.settle(); }
    void store(const QString& id, const QString& question = u"why?"_s, bool interrupted = false) {
        history.persistAskTurn({id, u"Editor"_s, std::nullopt, question, u"because"_s, interrupted});
    }
    [[nodiscard]] AskHistoryEntries stored() const { return parseAskHistory(readFile(file)).value(); }
    [[nodiscard]] QString titleOf(const QString& id) const {
        return entryWithId(stored(), id).value_or(QJsonObject()).value(u"title"_s).toString();
    }
    [[nodiscard]] QStringList files() const {
        return QDir(QFileInfo(file).path()).entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot);
    }
};

} // namespace

TEST_F(AskHistoryTest, TurnsAreStoredInTheOrderOfTheCallsAndReadAfterwards) {
    QStringList seen;
    history.loadAskHistory(&history, [&](const AskHistoryEntries& all) { seen.append(QString::number(all.size())); });
    store(u"a"_s);
    store(u"b"_s);
    store(u"a"_s, u"again"_s, true);
    history.evictAskHistory(u"b"_s);
    history.loadAskHistory(&history, [&](const AskHistoryEntries& all) { seen.append(QString::number(all.size())); });
    {
        QObject gone;
        history.loadAskHistory(&gone, [&](const AskHistoryEntries&) { seen.append(u"late"_s); });
    }
    EXPECT_FALSE(QFile::exists(file)) << "nothing happens on the main thread";
    settle();
    EXPECT_EQ(seen, (QStringList{u"0"_s, u"1"_s}));
    EXPECT_EQ(stored().at(0)[u"turns"_s].toInt(), 2);
    EXPECT_TRUE(stored().at(0)[u"interrupted"_s].toBool());
    EXPECT_EQ(files(), QStringList{u"ovalin-ask-history.json"_s});
}

TEST_F(AskHistoryTest, WhatTheTwentyDropGoesIntoTheArchiveAndComesBackWhenItGoesOn) {
    const QString archive = folder.filePath(u"CLAUDE/system/ovalin-ask-history-archive.json"_s);
    const auto archived = [&] { return parseAskHistory(readFile(archive)).value(); };
    const auto found = [&](const QString& words) {
        QStringList ids;
        history.loadIndex(&history, [&](const std::shared_ptr<const ConversationIndex>& index) {
            for (const QJsonObject& entry : index->find(words, 8))
                ids.append(entry[u"id"_s].toString());
        });
        settle();
        return ids.join(QLatin1Char(' '));
    };
    for (int i = 0; i < 24; ++i)
        store(u"id%1"_s.arg(i), i == 1 ? u"Où est le CAFÉ, Straße 7?"_s : u"question %1"_s.arg(i));
    settle();
    EXPECT_EQ(stored().size(), 20);
    ASSERT_EQ(archived().size(), 4);
    EXPECT_EQ(archived().at(0)[u"id"_s], u"id3"_s) << "the newest first";
    EXPECT_EQ(QFile::permissions(archive) & 0x077, QFile::Permissions());
    const struct {
        const char *words, *ids;
    } rows[] = {{"cafe ou", "id1"},
                {"STRASSE", "id1"},
                {"caf\u00e9 question", ""},
                {"question 2 ", "id23 id22 id21 id20 id12 id2"},
                {"because question 0", "id20 id10 id0"},
                {"zebra", ""}};
    for (const auto& row : rows)
        EXPECT_EQ(found(QString::fromUtf8(row.words)), QString::fromUtf8(row.ids)) << row.words;

    store(u"id1"_s, u"and now?"_s);
    settle();
    EXPECT_EQ(stored().at(0)[u"turns"_s].toInt(), 2) << "it goes on";
    EXPECT_EQ(archived().size(), 4) << "another has taken its place";
    QString first;
    history.findAskSession(&history, u"id4"_s, [&](const auto& entry) { first = (*entry)[u"first"_s].toString(); });
    history.evictAskHistory(u"id0"_s);
    history.evictAskHistory(u"id1"_s);
    settle();
    EXPECT_EQ(first, u"question 4"_s);
    EXPECT_EQ(found(u"cafe"_s) + found(u"question 0"_s), u"id20 id10"_s);
    EXPECT_FALSE(readFile(archive).contains("id0") || readFile(file).contains("id1\""));

    writeFile(archive, "[nonsense");
    store(u"new"_s);
    store(u"newer"_s);
    settle();
    EXPECT_EQ(archived().size(), 1);
    EXPECT_EQ(QDir(QFileInfo(archive).path()).entryList({u"*archive-unreadable*"_s}).size(), 1);

    AskHistoryEntries many;
    for (int i = 0; i < 1000; ++i)
        many.append({{u"id"_s, u"put away %1"_s.arg(i)}});
    many[5] = stored()[0]; // as after a kill between the two files
    writeFile(archive, askHistoryBytes(many));
    store(u"newest"_s);
    settle();
    EXPECT_EQ(archived().size(), 1000);
    EXPECT_EQ(archived().last()[u"id"_s], u"put away 998"_s) << "the oldest goes";
    EXPECT_EQ(found(u"why"_s), u"newest newer new"_s) << "each once";
}

TEST_F(AskHistoryTest, ATurnWithoutSessionOrQuestionIsNotStored) {
    store({});
    store(u"a"_s, {});
    settle();
    EXPECT_FALSE(QFile::exists(file));
}

TEST_F(AskHistoryTest, AFileThatIsNoHistoryIsKeptBesideTheNewOne) {
    QDir().mkpath(QFileInfo(file).path());
    const auto makeHuge = [this] {
        QFile huge(file);
        EXPECT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize(100'000'000));
    };
    const std::function<void()> rows[] = {
        [this] { writeFile(file, "[1, 2"); },
        [this] { writeFile(file, R"({"sessions":"none"})"); },
        makeHuge,
    };
    int kept = 0;
    for (const auto& make : rows) {
        make();
        int loaded = -1;
        history.loadAskHistory(&history, [&](const AskHistoryEntries& all) { loaded = static_cast<int>(all.size()); });
        settle();
        EXPECT_EQ(loaded, 0);
        EXPECT_EQ(files().size(), kept + 1) << "reading moves nothing";
        store(u"a"_s);
        settle();
        EXPECT_EQ(stored().size(), 1);
        EXPECT_EQ(files().size(), ++kept + 1) << qPrintable(files().join(QLatin1Char(' ')));
        QFile::remove(file);
    }
    EXPECT_EQ(log.lines.size(), kept);
}

TEST_F(AskHistoryTest, WhatCannotBeReadStaysWhereItIs) {
    QDir().mkpath(file + u"/folder"_s);
    store(u"a"_s);
    settle();
    EXPECT_TRUE(QDir(file).exists(u"folder"_s));
    ASSERT_EQ(log.lines.size(), 1);
    EXPECT_TRUE(log.lines[0].endsWith(u"Is a directory"_s)) << log.lines[0].toStdString();
}

TEST_F(AskHistoryTest, WhatCannotBeWrittenIsListedAndTriedAgainAtTheEndUnlessItIsForgotten) {
    const QString folderName = folder.filePath(u"CLAUDE"_s);
    for (const bool forgotten : {false, true}) {
        writeFile(folderName, "a file where the folder should be");
        store(u"a"_s);
        qsizetype listed = 0;
        history.loadAskHistory(&history, [&](const AskHistoryEntries& all) { listed = all.size(); });
        settle();
        EXPECT_EQ(listed, 1);
        EXPECT_EQ(readFile(folderName), "a file where the folder should be");
        EXPECT_EQ(log.lines.size(), forgotten ? 2 : 1);
        QFile::remove(folderName);
        if (forgotten)
            history.forget();
        history.saveAgain();
        settle();
        EXPECT_NE(QFile::exists(file), forgotten);
        QDir(folderName).removeRecursively();
    }
}

TEST_F(AskHistoryTest, TheTitleOfANewConversationComesLater) {
    agentDoes("printf '%s|' \"$@\" >'" + folder.path().toUtf8() + "/arguments'\npwd >'" + folder.path().toUtf8() +
              "/place'\ncat\necho noise >&2\necho ' \n A short title '\nexit 1\n");
    for (const char* question : {"it's \"$(x)\" `id` \\ $HOME?", "--help", "-", "two\nlines", "/cost of living?"}) {
        const QString id = QString::fromUtf8(question);
        store(id, id);
        settle();
        store(id, u"later"_s);
        settle();
        EXPECT_EQ(titleOf(id), u"A short title"_s);
        const QByteArray guard = question[0] == '-' ? "--|" : question[0] == '/' ? " " : "";
        EXPECT_EQ(
            readFile(folder.filePath(u"arguments"_s)),
            "-p|--effort|low|--append-system-prompt|Write a 3-6 word title for a conversation that starts with the "
            "given question. Output ONLY the title - no quotes, no period.|--settings|"
            R"({"permissions":{"deny":["Read"]}}|)" +
                guard + question + "|");
    }
    EXPECT_EQ(readFile(folder.filePath(u"place"_s)), "/\n");
}

TEST_F(AskHistoryTest, NoTitleForAConversationThatIsGoneNorFromAnAgentThatIsMissing) {
    store(u"a"_s);
    settle();
    EXPECT_EQ(titleOf(u"a"_s), QString());
    agentDoes("echo title\n");
    history.generateAskTitle(u"a"_s, u"why?"_s);
    history.evictAskHistory(u"a"_s);
    settle();
    const QByteArray before = readFile(file);
    EXPECT_EQ(stored().size(), 0);
    history.generateAskTitle(u"a"_s, QString(200'000, QLatin1Char('x'))); // more than a child can be given
    settle();
    EXPECT_EQ(readFile(file), before);
}

TEST(TitleFrom, TakesUpTo79Characters) {
    const QByteArray wide = u"👩‍👩‍👧"_s.toUtf8();
    EXPECT_EQ(titleFrom(wide.repeated(79) + "\n"), QString::fromUtf8(wide.repeated(79)));
    EXPECT_EQ(titleFrom(wide.repeated(80)), std::nullopt);
    EXPECT_EQ(titleFrom("\"Quoted.\""), u"\"Quoted.\""_s);
    for (const char* printed : {"", " \n", "caf\xe9"})
        EXPECT_EQ(titleFrom(printed), std::nullopt) << printed;
}
