#include "base/children/LiveChild.h"
#include "base/children/ChildProcess.h"
#include "support/Testing.h"

#include <sys/wait.h>

namespace {

/// Hears a child and keeps what it said.
struct Heard {
    std::mutex mutex;
    QByteArray output;
    std::array<char, 4096> buffer{};
    bool full = false;
    std::optional<ChildEnd> end;
    QString refused;

    LiveChild::Handlers handlers() {
        return {[this] {
                    const std::lock_guard lock(mutex);
                    return full ? std::span<char>() : std::span<char>(buffer);
                },
                [this](size_t count) {
                    const std::lock_guard lock(mutex);
                    output.append(buffer.data(), static_cast<qsizetype>(count));
                },
                [this](const ChildEnd& how) {
                    const std::lock_guard lock(mutex);
                    end = how;
                },
                [this](const QString& reason) {
                    const std::lock_guard lock(mutex);
                    refused = reason;
                }};
    }
    bool wait(const std::function<bool()>& condition) {
        return waitUntil([&] {
            const std::lock_guard lock(mutex);
            return condition();
        });
    }
};

struct LiveChildTest : testing::Test {
    Heard heard;
    std::unique_ptr<LiveChild> child;
    QTemporaryDir folder;

    ~LiveChildTest() override {
        child.reset();
        LiveChild::awaitEnds(); // its thread looks at `heard`
    }
    void start(const char* line) {
        auto started =
            LiveChild::start(shellCommand(u"cd '%1'; %2"_s.arg(folder.path(), QLatin1String(line))), heard.handlers());
        ASSERT_TRUE(started);
        child = std::move(*started);
    }
    /// The pid that the child has written there.
    pid_t pidIn(const char* file) {
        const QString path = folder.filePath(QLatin1String(file));
        waitUntil([&] { return readFile(path).endsWith('\n'); });
        return static_cast<pid_t>(readFile(path).trimmed().toInt());
    }
};

} // namespace

// The first one here: the program that is forked needs a supervisor of its own.
TEST_F(LiveChildTest, AProgramThatIsKilledTakesItsChildrenWithItButNoDetachedOne) {
    const auto waitingIn = [this](const char* file, const char* manners = "trap '' TERM") {
        return shellCommand(u"cd '%1'; %2; echo $$ > %3; sleep 60; true"_s.arg(folder.path(), QLatin1String(manners),
                                                                               QLatin1String(file)));
    };
    const pid_t program = ::fork();
    if (program == 0) {
        std::unique_ptr<LiveChild> chat;
        std::thread([&] { chat = LiveChild::start(waitingIn("chat"), heard.handlers()).value(); }).join();
        std::thread([&] { (void)runToEnd(waitingIn("tame", "")); }).detach();
        (void)launchDetached(waitingIn("router"));
        RunOptions options;
        options.supervised = true;
        (void)runToEnd(waitingIn("job"), options);
        ::_exit(0);
    }
    const pid_t chat = pidIn("chat"), tame = pidIn("tame"), router = pidIn("router"), job = pidIn("job");
    EXPECT_EQ(::kill(chat, 0), 0) << "it does not end with the thread that asked for it";
    ::kill(program, SIGKILL);
    ::waitpid(program, nullptr, 0);
    EXPECT_TRUE(ends(chat));
    EXPECT_TRUE(ends(tame));
    EXPECT_TRUE(ends(job));
    EXPECT_EQ(::kill(router, 0), 0);
    ::kill(-router, SIGKILL);
}

TEST_F(LiveChildTest, TalksBothWaysWhateverTheSize) {
    start("cat");
    const QByteArray bytes(5 << 20, 'x');
    child->write("first\n");
    child->write(bytes);
    ASSERT_TRUE(heard.wait([&] { return heard.output.size() == bytes.size() + 6; }));
    EXPECT_TRUE(heard.output.startsWith("first\nxxx"));
    EXPECT_TRUE(child->running());
}

TEST_F(LiveChildTest, AChildThatDoesNotReadHoldsUpNobody) {
    start("echo $$ > pid; sleep 60");
    const pid_t pid = pidIn("pid");
    child->write(QByteArray(20 << 20, 'x'));
    child.reset();
    EXPECT_TRUE(ends(pid));
    EXPECT_FALSE(heard.end) << "who is told to end does not report it";
}

TEST_F(LiveChildTest, WaitsWithAFloodUntilThereIsRoom) {
    heard.full = true;
    start("yes | head -c 1000000; exit 3");
    child->wake();
    EXPECT_EQ(heard.output.size(), 0);
    {
        const std::lock_guard lock(heard.mutex);
        heard.full = false;
    }
    child->wake();
    ASSERT_TRUE(heard.wait([this] { return heard.end.has_value(); }));
    EXPECT_EQ(heard.output.size(), 1000000);
    EXPECT_EQ(heard.end->number, 3);
}

TEST_F(LiveChildTest, ReportsItsEndThoughAGrandchildHoldsItsOutput) {
    for (const QByteArray grandchild : {"sleep 60", "yes"}) {
        heard.end.reset();
        QFile::remove(folder.filePath(u"pid"_s));
        start("(trap '' TERM; exec " + grandchild + ") & echo $! > pid; kill -9 $$");
        ASSERT_TRUE(heard.wait([this] { return heard.end.has_value(); })) << grandchild.constData();
        EXPECT_EQ(heard.end->kind, ChildEnd::Kind::Killed);
        EXPECT_EQ(heard.end->number, SIGKILL);
        EXPECT_FALSE(child->running());
        ::kill(pidIn("pid"), SIGKILL);
    }
}

TEST_F(LiveChildTest, SaysThatNobodyReads) {
    start("exec 0<&-; echo closed; sleep 60");
    ASSERT_TRUE(heard.wait([this] { return heard.output.contains("closed"); }));
    for (const char* line : {"lost\n", "lost too\n"}) {
        child->write(line);
        EXPECT_TRUE(heard.wait([this] { return !std::exchange(heard.refused, {}).isEmpty(); })) << line;
    }
}

TEST_F(LiveChildTest, WhatAChildHasStartedEndsWithItAlsoWhenItDiesByItself) {
    for (const char* end : {"exit 0", "kill -9 $$"}) {
        heard.end.reset();
        const QByteArray line =
            QByteArray("setsid sh -c 'echo $$ > tame; sleep 60' & setsid sh -c 'trap \"\" TERM; echo $$ > wild; while "
                       "true; do sleep 1; done' & while [[ ! -s tame || ! -s wild ]] { sleep 0.01 }; ") +
            end;
        start(line.constData());
        ASSERT_TRUE(heard.wait([this] { return heard.end.has_value(); }));
        EXPECT_TRUE(ends(pidIn("tame"))) << end;
        EXPECT_TRUE(ends(pidIn("wild"))) << end;
        QFile::remove(folder.filePath(u"tame"_s));
        QFile::remove(folder.filePath(u"wild"_s));
    }
}

TEST_F(LiveChildTest, NothingOutlivesTheGrace) {
    start("trap '' TERM; setsid sh -c 'trap \"\" TERM; echo $$ > far; sleep 60' & echo $$ > near; sleep 60");
    const pid_t near = pidIn("near"), far = pidIn("far");
    child.reset();
    EXPECT_TRUE(ends(near));
    EXPECT_TRUE(ends(far)) << "a session of its own does not save it";
}
