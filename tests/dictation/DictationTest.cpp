#include "dictation/Dictation.h"

#include "dictation/DictationText.h"
#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"
#include "fakes/FakeSpeech.h"
#include "fakes/FakeViews.h"

namespace {

const QString LISTENING = u"listening"_s;

/// The room over a prompt, with a recogniser and a microphone that do as they are told.
struct DictationTest : testing::Test {
    FakeDispatch dispatch;
    FakeRecognizer recognizer;
    FakeMicrophone microphone;
    LogRecorder log;
    FakeDictationField view;
    std::vector<bool> inferences;
    std::unique_ptr<Dictation> dictation;

    DictationTest() { open(); }
    /// Another panel.
    void open() {
        dictation.reset();
        view = {};
        dictation = std::make_unique<Dictation>(microphone, recognizer, dispatch, view,
                                                [this](bool force) { inferences.push_back(force); });
    }
    void click() { dictation->micTapped(); }
    void hear(const QString& text, bool meta = false, bool final = false) {
        update(recognizer.segments.back(), {RecognitionResult{text, final, meta}, std::nullopt});
    }
    void fail() { update(recognizer.segments.back(), {std::nullopt, u"broken"_s}); }
    void update(const std::shared_ptr<FakeRecognizer::Segment>& segment, const RecognitionUpdate& what) {
        segment->handler(what);
        dispatch.runMain();
    }
    [[nodiscard]] QString field() const { return view.text; }
    [[nodiscard]] QString status() const { return view.status; }
    void expectIdle(const QString& note = {}) {
        EXPECT_FALSE(dictation->isRecording());
        EXPECT_FALSE(microphone.running);
        EXPECT_FALSE(view.listening);
        EXPECT_EQ(status(), note);
    }
};

} // namespace

TEST_F(DictationTest, EveryFailedStartSaysWhyAndTheNextOneWorks) {
    const struct {
        bool authorized, granted, available;
        const char *error, *note;
    } rows[] = {
        {false, true, true, "", "speech recognition permission needed (System Settings → Privacy)"},
        {true, false, true, "", "microphone permission needed (System Settings → Privacy)"},
        {true, true, false, "", "speech recognizer unavailable"},
        {true, true, true, "no microphone", "microphone start failed"},
    };
    for (const auto& row : rows) {
        recognizer.authorized = row.authorized;
        microphone.granted = row.granted;
        recognizer.available = row.available;
        microphone.error = QString::fromUtf8(row.error);
        click();
        expectIdle(QString::fromUtf8(row.note));
    }
    EXPECT_EQ(log.lines, QStringList(u"Ovalin: audio engine start failed — no microphone"_s));
    microphone.error.clear();
    click();
    EXPECT_TRUE(dictation->isRecording());
    EXPECT_EQ(status(), LISTENING);
    EXPECT_TRUE(view.listening);
    click();
    expectIdle();
}

// A pause ends an utterance; whether it ends a sentence, the words around it tell.
TEST_F(DictationTest, UtterancesAreWrittenAsSentencesWithTheirWordsUntouched) {
    const auto isShort = [](const QString& text) { return text.count(u' ') < 4; };
    const struct {
        const char* before;
        QStringList said;
        const char* written;
    } rows[] = {
        {"",
         {u"please send the report to mary"_s, u"i'll call her on monday"_s},
         "Please send the report to mary. I'll call her on Monday."},
        {"", {u"write to my"_s, u"sister in berlin today"_s}, "Write to my sister in berlin today."},
        {"", {u"move the meeting"_s, u"because i am away"_s}, "Move the meeting because I am away."},
        {"",
         {u"could you look at this page"_s, u"what is it about"_s},
         "Could you look at this page? What is it about?"},
        {"", {u"when i come home remind me of this"_s}, "When I come home remind me of this."},
        {"", {u"how many people live in this town"_s}, "How many people live in this town?"},
        {"", {u"do the dishes before we leave"_s}, "Do the dishes before we leave."},
        {"See below,", {u"this one is about the second point"_s}, "See below, this one is about the second point."},
        {"Done.", {u"now the next one"_s}, "Done. Now the next one."},
        {"", {u"acme corp"_s}, "acme corp"}, // it may be what a selection is replaced with
        {"", {u"is it"_s}, "Is it?"},
    };
    for (const auto& row : rows) {
        view = {};
        dictation = std::make_unique<Dictation>(
            microphone, recognizer, dispatch, view, [](bool) {}, isShort);
        view.text = QString::fromUtf8(row.before);
        click();
        for (const QString& utterance : row.said) {
            hear(utterance);
            EXPECT_TRUE(field().endsWith(utterance)) << "as it is heard, until it is settled";
            hear(utterance, true);
        }
        EXPECT_EQ(field().toStdString(), row.written);
    }
    hear(u"and one word more"_s);
    click();
    view.text += u" typed"_s;
    hear(u"and one word more"_s, false, true);
    EXPECT_EQ(field(), u"Is it? and one word more typed"_s) << "what somebody has changed since stays";
}

TEST_F(DictationTest, WordsFollowWhatStandsInTheField) {
    const struct {
        const char *typed, *shown;
    } rows[] = {{"", "world"}, {"hello", "hello world"}, {"hello ", "hello world"}};
    for (const auto& row : rows) {
        view.text = QString::fromUtf8(row.typed);
        click();
        hear(u"word"_s);
        hear(u"world"_s);
        EXPECT_EQ(field(), QString::fromUtf8(row.shown));
        click();
        hear({}, true, true);
        EXPECT_EQ(field(), QString::fromUtf8(row.shown));
    }
}

TEST_F(DictationTest, NoWordThatWasShownIsLostBetweenResults) {
    enum Kind { Partial, Utterance, Final, Error };
    struct Step {
        Kind kind;
        const char *text, *shown;
    };
    const std::vector<Step> rows[] = {
        {{Partial, "the quick brown fox jumps", "the quick brown fox jumps"},
         {Partial, "over", "the quick brown fox jumps over"}},
        {{Partial, "eleven char", "eleven char"}, {Partial, "no", "no"}},
        {{Partial, "twelve chars", "twelve chars"}, {Partial, "twelve", "twelve"}},
        {{Partial, "one two three four", "one two three four"}, {Utterance, "one", "one"}, {Partial, "two", "one two"}},
        {{Partial, "one", "one"}, {Utterance, "", "one"}, {Partial, "two", "one two"}},
        {{Partial, "one", "one"},
         {Final, "won", "won"},
         {Partial, "two", "won two"},
         {Final, "", "won two"},
         {Partial, "three", "won two three"}},
        {{Partial, "one", "one"},
         {Error, "", "one"},
         {Partial, "two", "one two"},
         {Error, "", "one two"},
         {Error, "", "one two"},
         {Utterance, "three", "one two three"}},
    };
    for (const auto& steps : rows) {
        view.text.clear();
        click();
        for (const Step& step : steps) {
            if (step.kind == Error)
                fail();
            else
                hear(QString::fromUtf8(step.text), step.kind == Utterance, step.kind == Final);
            EXPECT_EQ(field(), QString::fromUtf8(step.shown));
        }
        EXPECT_TRUE(dictation->isRecording());
        EXPECT_TRUE(microphone.running);
        click();
        dispatch.advance(4);
    }
    EXPECT_EQ(log.count(u"silent reset detected (25 -> 4)"_s), 1);
    EXPECT_EQ(log.count(u"silent reset"_s), 1);
    EXPECT_EQ(log.lines.first(), u"Ovalin dictate: final=0 meta=0 len=25 last=0"_s);
}

TEST_F(DictationTest, ThePredictionFollowsAndIsForcedWhereSpeechPauses) {
    click();
    hear(u"what"_s);
    hear(u"what is"_s, true);
    hear(u"this"_s, false, true);
    hear({}, true);
    EXPECT_EQ(inferences, (std::vector<bool>{false, true, true}));
}

TEST_F(DictationTest, SoundThatNoSegmentHeardGoesToTheNext) {
    click();
    for (qint16 sample = 1; sample <= 3; ++sample)
        microphone.speak(sample);
    ASSERT_EQ(recognizer.segments.back()->request->take()->front(), 1);
    fail();
    microphone.speak(4);
    click();
    microphone.speak(5); // after the end
    for (qint16 sample = 2; sample <= 4; ++sample)
        EXPECT_EQ(recognizer.segments.back()->request->take()->front(), sample);
    EXPECT_FALSE(recognizer.segments.back()->request->take());
}

TEST_F(DictationTest, TheLastWordsArriveAfterTheStopButNotThreeSecondsLater) {
    for (const bool late : {false, true}) {
        view.text.clear();
        click();
        const auto segment = recognizer.segments.back();
        hear(u"one"_s);
        click();
        expectIdle();
        dispatch.advance(late ? 3.1 : 2.9);
        EXPECT_EQ(segment->cancelled, late);
        update(segment, {RecognitionResult{u"one two"_s, true, true}, std::nullopt});
        EXPECT_EQ(field(), late ? u"one"_s : u"one two"_s);
    }
}

TEST_F(DictationTest, LateWordsDoNotComeIntoAFieldThatIsNotTheirsAnyMore) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"", [this] { view.text.clear(); }}, // sent
        {"typed since", [this] { view.text = u"typed since"_s; }},
        {"", [this] { open(); }},
    };
    for (const auto& [expected, meanwhile] : rows) {
        click();
        const auto segment = recognizer.segments.back();
        hear(u"one"_s);
        click();
        meanwhile();
        update(segment, {RecognitionResult{u"one two"_s, true, true}, std::nullopt});
        EXPECT_EQ(field(), QString::fromUtf8(expected));
        view.text.clear();
    }
}

TEST_F(DictationTest, ARecordingBegunWhileAnotherDrainsIsNotCancelledWithIt) {
    click();
    const auto first = recognizer.segments.back();
    hear(u"one"_s);
    click();
    dispatch.advance(1);
    click();
    dispatch.advance(10);
    update(first, {RecognitionResult{u"late"_s, true, true}, std::nullopt});
    EXPECT_FALSE(recognizer.segments.back()->cancelled);
    hear(u"two"_s);
    EXPECT_EQ(field(), u"one two"_s);
}

TEST_F(DictationTest, ARecordingStopsByItselfAfterThirtyMinutesOfItsOwn) {
    click();
    dispatch.advance(1000);
    click();
    click();
    dispatch.advance(1799);
    EXPECT_TRUE(dictation->isRecording());
    hear(u"still here"_s);
    dispatch.advance(1);
    expectIdle();
    EXPECT_EQ(field(), u"still here"_s);
}

TEST_F(DictationTest, APanelClosedWhileTheAnswerIsOnItsWayStaysSilent) {
    microphone.answersAtOnce = false;
    click();
    EXPECT_EQ(status(), LISTENING) << "shown at once";
    view.shown = false;
    microphone.answerAll();
    expectIdle();
    // The same with a new panel in its place, which is not the one that was clicked.
    view.shown = true;
    click();
    open();
    view.status = u"its own"_s;
    microphone.answerAll();
    expectIdle(u"its own"_s);
    EXPECT_EQ(microphone.starts, 0);
    // And its own click counts, once, however often it is made.
    click();
    click();
    microphone.answerAll();
    EXPECT_EQ(microphone.starts, 1);
    EXPECT_EQ(recognizer.segments.size(), 1U);
    EXPECT_TRUE(dictation->isRecording());
    EXPECT_EQ(status(), LISTENING);
}

TEST_F(DictationTest, ALostMicrophoneEndsTheRecordingAndKeepsItsWords) {
    click();
    hear(u"one"_s);
    microphone.lost(u"unplugged"_s);
    expectIdle(u"microphone disconnected"_s);
    EXPECT_EQ(field(), u"one"_s);
    microphone.error = u"no microphone"_s;
    click();
    expectIdle(u"microphone start failed"_s);
    EXPECT_EQ(field(), u"one"_s);
}

TEST_F(DictationTest, AnEngineThatCannotBeLoadedEndsTheRecordingRatherThanTryingForEver) {
    click();
    recognizer.available = false;
    fail();
    expectIdle(u"speech recognizer unavailable"_s);
    EXPECT_EQ(recognizer.segments.size(), 1U);
}

TEST_F(DictationTest, ARecogniserThatOnlyFailsEndsTheRecordingWithANote) {
    click();
    for (const double pause : {0.6, 0.6, 0.6, 0.6}) { // now and then is no reason
        fail();
        dispatch.advance(pause);
    }
    for (int i = 0; i < 4; ++i) { // nor is a failure among words
        hear(u"word"_s);
        fail();
    }
    ASSERT_TRUE(dictation->isRecording());
    fail();
    fail();
    expectIdle(u"speech recognizer unavailable"_s);
    EXPECT_FALSE(microphone.running);
    EXPECT_EQ(field(), u"word word word word"_s);
    click();
    EXPECT_TRUE(dictation->isRecording()) << "it may be tried again";
}
