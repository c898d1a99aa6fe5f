#include "route/CapturesLedger.h"

#include "RouteFolder.h"
#include "base/Descriptor.h"
#include "base/WholeFile.h"
#include "support/Limits.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

const char* const EDITOR = R"(
# Another program that marks the entry "counter" over and over: a quarter of the time by rename under the lock that it
# shares with us, else in place and without any lock, in two writes.
import fcntl, json, os, sys, time
path = sys.argv[1]
def mark(ledger):
    entry = next(e for e in ledger["items"] if e["id"] == "counter")
    entry["n"] += 1
    return json.dumps(ledger).encode()
n = 0
while not os.path.exists(path + ".stop"):
    if n % 4 == 0:
        with open(path + ".lock", "a") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            with open(path, "rb") as f: text = mark(json.load(f))
            with open(path + ".new", "wb") as f: f.write(text)
            os.rename(path + ".new", path)
    else:
        with open(path, "r+b", buffering=0) as f:
            text = mark(json.loads(f.read()))
            f.seek(0); f.truncate()
            f.write(text[:len(text) // 2]); time.sleep(0.001); f.write(text[len(text) // 2:])
    n += 1
    time.sleep(0.003)
print(n)
)";

struct CapturesLedger : RouteFolder {
    const QString file = paths.capturesFile;

    tl::expected<void, QString> append(const QString& prompt) const { return appendToCaptures(file, item(prompt)); }

    /// Written long ago, so that nobody can be in the middle of it.
    void writeOld(const QByteArray& bytes) const {
        writeFile(file, bytes);
        const timespec times[] = {{0, 0}, {0, 0}};
        ::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0);
    }
    QStringList names() const {
        QStringList found = QDir(paths.systemDir).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        found.removeAll(u"captures.json.lock"_s);
        return found;
    }
    QStringList asides() const { return names().filter(u"unreadable"_s); }
};

QByteArray ledgerOf(int count) {
    QJsonArray items;
    for (int i = 0; i < count; ++i)
        items.append(QJsonObject{{u"id"_s, QString::number(i)}, {u"prompt"_s, QString::number(i)}});
    return QJsonDocument(QJsonObject{{u"items"_s, items}}).toJson();
}

} // namespace

TEST_F(CapturesLedger, AnItemGoesFirstAndTheOldestBeyondFiveHundredGo) {
    for (const int count : {0, 499, 500, 700}) {
        const auto before = parseLedger(ledgerOf(count));
        ASSERT_TRUE(before);
        const QJsonArray items = withItem(*before, item(u"new"_s))[u"items"_s].toArray();
        EXPECT_EQ(items.size(), std::min(count + 1, 500));
        EXPECT_EQ(items.at(0)[u"prompt"_s].toString(), u"new"_s);
        EXPECT_EQ(items.last()[u"prompt"_s].toString(),
                  count == 0 ? u"new"_s : QString::number(std::min(count, 499) - 1));
    }
}

TEST_F(CapturesLedger, WhatOthersKeepThereStays) {
    const auto before =
        parseLedger(R"({"items":[{"id":"a","result":{"summary":"s","n":9007199254740993}}],"theirs":[1,2.5,null],
        "meta":{"last_update":"old","owner":"me"}})");
    ASSERT_TRUE(before);
    const QueueItem added = item(u"new"_s);
    QJsonObject expected = *before;
    expected[u"items"_s] = QJsonArray{added.ledgerEntry(), before->value(u"items"_s).toArray().at(0)};
    expected[u"meta"_s] = QJsonObject{{u"last_update"_s, added.ts}, {u"owner"_s, u"me"_s}};
    EXPECT_EQ(withItem(*before, added), expected);
    EXPECT_EQ(parseLedger(QJsonDocument(expected).toJson()), expected);
    QueueItem timeless = added;
    timeless.ts.clear();
    EXPECT_FALSE(withItem(*before, timeless)[u"meta"_s].toObject().contains(u"last_update"_s));
}

TEST_F(CapturesLedger, HoweverTheFileIsLaidOutTheLedgerIsThatWithTheItem) {
    const QJsonObject meta{{u"last_update"_s, u"old"_s}, {u"owner"_s, u"me"_s}};
    const auto ours = [&](int count) {
        QJsonObject ledger = *parseLedger(ledgerOf(count));
        ledger[u"meta"_s] = meta;
        return QJsonDocument(ledger).toJson();
    };
    const QByteArray three = ours(3), brace = "\"prompt\": {\n        }";
    for (const QByteArray& text :
         {ours(0), ours(1), ours(498), ours(499), ours(500), ours(700), ledgerOf(3),
          QJsonDocument::fromJson(three).toJson(QJsonDocument::Compact), QByteArray(three).replace("items", "others"),
          QByteArray(three).replace("\"prompt\": \"1\"", brace),
          QByteArray(ours(600)).replace("\"prompt\": \"1\"", brace),
          QByteArray(three).replace("\"prompt\": \"1\"", "\"prompt\": \"\\n        }\", \"n\": [12, {\"a\": {}}]"),
          QByteArray(three).replace("\"meta\"", "\"items\": [], \"meta\""),
          QByteArray(three).replace("\"owner\"", "\"a\": {\n    },\n        \"owner\""),
          QByteArray(three).replace("\"old\"", "17"), QByteArray(three).replace("\"id\": \"1\"", "\"id\": 1")}) {
        writeOld(text);
        const QueueItem added = item(u"new"_s);
        ASSERT_TRUE(appendToCaptures(file, added));
        EXPECT_EQ(ledger(), withItem(*parseLedger(text), added)) << text.left(500).constData();
    }
    writeOld(QByteArray(three).replace("\"1\"", "9007199254740993.10"));
    ASSERT_TRUE(append(u"new"_s));
    EXPECT_TRUE(readFile(file).contains("9007199254740993.10"));
}

TEST_F(CapturesLedger, AMissingOrBlankFileCountsAsEmpty) {
    ASSERT_TRUE(append(u"first"_s)) << "the folders are made";
    EXPECT_EQ(ledgerPrompts(), QStringList{u"first"_s});
    EXPECT_EQ(ledger()[u"meta"_s][u"last_update"_s].toString(), u"2026-11-16T19:30:00Z"_s);
    for (const char* blank : {"", " \n\t"}) {
        writeOld(blank);
        ASSERT_TRUE(append(u"again"_s));
        EXPECT_EQ(ledgerPrompts(), QStringList{u"again"_s});
    }
    EXPECT_EQ(names(), QStringList{u"captures.json"_s});
}

TEST_F(CapturesLedger, WhatIsNoLedgerIsSetAsideWhole) {
    QByteArray damaged = ledgerOf(3);
    damaged.chop(10);
    const QByteArray rows[] = {damaged,
                               "[1,2]",
                               "null",
                               "text",
                               R"({"items":7})",
                               R"({"items":{"id":"x"}})",
                               R"({"items":[{}, 1]})",
                               QByteArray(3, '\0')};
    qsizetype count = 0;
    for (const QByteArray& row : rows) {
        writeOld(row);
        ASSERT_TRUE(append(u"new"_s)) << row.constData();
        EXPECT_EQ(ledgerPrompts(), QStringList{u"new"_s});
        ASSERT_EQ(asides().size(), ++count) << row.constData();
    }
    QList<QByteArray> kept;
    for (const QString& name : asides())
        kept.append(readFile(paths.systemDir + QLatin1Char('/') + name));
    for (const QByteArray& row : rows)
        EXPECT_TRUE(kept.contains(row));
    EXPECT_EQ(log.lines.size(), count);
}

TEST_F(CapturesLedger, WhatCannotBeReadOrIsBeingWrittenIsLeftAndTheReasonIsSaid) {
    const auto refused = [this] {
        const auto appended = append(u"new"_s);
        EXPECT_TRUE(asides().isEmpty());
        return appended ? std::string() : shortReason(appended.error()).toStdString();
    };
    QDir().mkpath(file + u"/inside"_s);
    EXPECT_EQ(refused(), "is a directory");
    QDir(file).removeRecursively();
    ::mkfifo(QFile::encodeName(file).constData(), 0600);
    EXPECT_EQ(refused(), "invalid argument");
    QFile::remove(file);

    writeOld(ledgerOf(3));
    for (int i = 0; i < 2; ++i) // the sanitizer looks at the JSON reader's tables once, with a descriptor
        ASSERT_TRUE(append(u"earlier"_s));
    for (size_t free = 0; free < 5; ++free) { // the lock file may be open, and the ledger not
        const DescriptorLimit few(free);
        const auto appended = append(u"new"_s);
        EXPECT_TRUE(appended || appended.error().endsWith(u"Too many open files"_s));
        EXPECT_TRUE(asides().isEmpty());
    }
    EXPECT_EQ(ledgerPrompts().last(), u"2"_s) << "nothing of it is lost";

    QByteArray half = ledgerOf(3);
    half.chop(10);
    writeOld(half);
    const Descriptor editor(::open(QFile::encodeName(file).constData(), O_WRONLY));
    EXPECT_EQ(refused(), "another program is writing it");
    EXPECT_EQ(readFile(file), half);
}

TEST_F(CapturesLedger, NumbersStayAsOthersWroteThem) {
    const char* const numbers[] = {
        "18446744073709551616",   "-9223372036854775809", "0.1000000000000000000001", "1e999", "-0", "1.0", "1E+5",
        "12345678901234567890123"};
    QByteArray members;
    for (const char* number : numbers)
        members += QByteArray(", \"n") + number + "\": " + number;
    writeOld("{\"items\": [{\"id\": \"1.50\\\" 2.50\", \"n\": [1.50]" + members + "}]}");
    ASSERT_TRUE(append(u"new"_s));
    const QByteArray written = readFile(file);
    for (const char* number : numbers)
        EXPECT_TRUE(written.contains(QByteArray("\"n") + number + "\": " + number)) << number;
    EXPECT_TRUE(written.contains("\"1.50\\\" 2.50\"")) << written.constData();
    EXPECT_TRUE(written.contains("    1.50\n")) << "and the file is indented";
    for (const char* wrong : {"01", "-", "+1", "1e", "0x10", "Infinity"}) {
        writeOld(QByteArray(R"({"items":[],"n":)") + wrong + '}');
        const auto before = asides().size();
        ASSERT_TRUE(append(u"new"_s));
        EXPECT_EQ(asides().size(), before + 1) << wrong;
    }
}

TEST_F(CapturesLedger, WhatBecameOfARequestIsSaidOnlyWhileItIsQueued) {
    const QueueItem mine = item(u"mine"_s);
    ASSERT_TRUE(append(u"other"_s));
    ASSERT_TRUE(appendToCaptures(file, mine));
    QueueItem fuller = mine;
    fuller.text = u"read later"_s;
    ASSERT_TRUE(appendToCaptures(file, fuller)) << "in its place, not once more";
    ASSERT_EQ(ledgerPrompts(), (QStringList{u"mine"_s, u"other"_s}));
    EXPECT_EQ(entryIn(ledger(), mine.id)[u"text"_s].toString(), u"read later"_s);
    EXPECT_EQ(settleCapture(file, mine.id, u"ready"_s, u"done"_s), true);
    EXPECT_EQ(settleCapture(file, mine.id, NEEDS_ATTENTION, u"late"_s), false);
    ASSERT_TRUE(appendToCaptures(file, mine));
    ASSERT_TRUE(removeCapture(file, mine.id));
    const QJsonObject entry = entryIn(ledger(), mine.id);
    EXPECT_EQ(entry[u"status"_s].toString(), u"ready"_s);
    EXPECT_EQ(entry[u"result"_s][u"summary"_s].toString(), u"done"_s);
}

TEST_F(CapturesLedger, ASymbolicLinkStaysOneAndItsTargetIsTheLedger) {
    const QString target = folder.filePath(u"synced/tasks.json"_s);
    writeFile(target, "damaged");
    QDir().mkpath(paths.systemDir);
    QFile::link(target, file);
    ASSERT_TRUE(append(u"one"_s));
    ASSERT_TRUE(append(u"two"_s));
    EXPECT_TRUE(QFileInfo(file).isSymLink());
    EXPECT_EQ(ledgerPrompts(), (QStringList{u"two"_s, u"one"_s}));
    EXPECT_EQ(QFileInfo(target).dir().entryList({u"tasks-unreadable-*.json"_s}).size(), 1);
}

TEST_F(CapturesLedger, AFailureLeavesTheLedgerAsItWas) {
    writeOld(ledgerOf(300));
    const auto appended = [this] {
        const FileSizeLimit full(100);
        return append(u"new"_s);
    }();
    ASSERT_FALSE(appended);
    EXPECT_TRUE(appended.error().contains(u"File too large"_s)) << appended.error().toStdString();
    EXPECT_EQ(readFile(file), ledgerOf(300));
    EXPECT_EQ(names(), QStringList{u"captures.json"_s});
}

TEST_F(CapturesLedger, NothingIsLostBetweenUsAndAnEditorOfTheSameFile) {
    writeFile(file, R"({"items":[{"id":"counter","n":0}]})");
    QProcess editor;
    editor.start(u"/usr/bin/python3"_s, {u"-c"_s, QString::fromLatin1(EDITOR), file});
    const auto edited = [this] { return ledger()[u"items"_s].toArray().last()[u"n"_s].toInt(); };
    ASSERT_TRUE(waitUntil([&] { return edited() > 0; }));
    QStringList expected;
    for (int i = 0; i < 100; ++i) {
        const auto appended = append(QString::number(i));
        ASSERT_TRUE(appended) << appended.error().toStdString();
        expected.prepend(QString::number(i));
    }
    writeFile(file + u".stop"_s, {});
    ASSERT_TRUE(editor.waitForFinished());
    const int edits = editor.readAllStandardOutput().trimmed().toInt();
    ASSERT_GT(edits, 0) << editor.readAllStandardError().constData();
    QStringList prompts = ledgerPrompts();
    EXPECT_EQ(prompts.takeLast(), QString()) << "the editor's entry is the oldest";
    EXPECT_EQ(prompts, expected);
    EXPECT_EQ(edited(), edits);
    EXPECT_TRUE(asides().isEmpty()) << "a half-written ledger was taken for a damaged one";
    EXPECT_TRUE(names().filter(u"conflict"_s).isEmpty());
}
