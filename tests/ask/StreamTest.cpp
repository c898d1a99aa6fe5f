#include "ask/LineReader.h"
#include "ask/StreamProtocol.h"
#include "support/Testing.h"

#include <cstring>

using Kind = StreamEvent::Kind;
using Outcome = StreamEvent::Outcome;

namespace {

/// Feeds bytes in pieces of this size, as a pipe would hand them out.
void feed(LineReader& reader, const QByteArray& bytes, qsizetype piece, const LineReader::Line& line) {
    for (qsizetype at = 0; at < bytes.size();) {
        const auto room = reader.room();
        const auto count = std::min({piece, bytes.size() - at, static_cast<qsizetype>(room.size())});
        std::memcpy(room.data(), bytes.constData() + at, static_cast<size_t>(count));
        reader.added(static_cast<size_t>(count), line);
        at += count;
    }
}

std::vector<StreamEvent> eventsOf(const QByteArray& line) {
    std::vector<StreamEvent> events;
    const QByteArray padded = line + QByteArray(LineReader::PADDING, '\0');
    StreamProtocol().handleAskLine({padded.constData(), static_cast<size_t>(line.size())},
                                   [&](StreamEvent&& event) { events.push_back(std::move(event)); });
    return events;
}

StreamEvent event(Kind kind, const char* text = "", Outcome outcome = Outcome::Success) {
    return {kind, QString::fromUtf8(text), outcome};
}

} // namespace

TEST(LineReader, LinesAreTheSameHoweverTheyArrive) {
    const QByteArray bytes = readFile(QStringLiteral(OVALIN_TESTS_DIR "/ask/recorded/unicode.jsonl")) +
                             QByteArray("a\0b\n\n\xff\xfe\nlast without end", 24);
    QByteArrayList expected = bytes.split('\n');
    expected.removeLast();
    for (const qsizetype piece : {1, 2, 7, 64, 65536}) {
        QByteArrayList lines;
        LineReader reader;
        feed(reader, bytes, piece, [&](std::string_view line) {
            lines.append({line.data(), static_cast<qsizetype>(line.size())});
        });
        EXPECT_EQ(lines, expected) << piece;
    }
}

TEST(StreamProtocol, ALineMeansWhatItsMembersSay) {
    const struct {
        const char* line;
        std::vector<StreamEvent> events;
    } ROWS[] = {
        {"not json", {}},
        {"[1,2]", {}},
        {"{\"type\":\"stream_event\",\"event\":{\"type\":\"content_block_delta\",\"delta\":{\"text\":\"cut", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{}t})", {}},
        {R"({"type":7,"session_id":"s"})", {event(Kind::Session, "s")}},
        {R"({"type":"system","session_id":""})", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"partial_json":"x"}}})", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"text":""}}})", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"text":3}}})", {}},
        {R"({"event":{"delta":{"text":"a\u00e9\ud83d\ude42"},"type":"content_block_delta"},"type":"stream_event"})",
         {event(Kind::Delta, "aé🙂")}},
        {R"({"type":"stream_event","event":{"type":"content_block_start","content_block":{"type":"text"}}})", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_start","content_block":{"type":"tool_use","name":"Glob"}}})",
         {event(Kind::Status, "reading files…")}},
        {R"({"type":"stream_event","event":{"type":"content_block_start","content_block":{"type":"tool_use","name":"bash"}}})",
         {event(Kind::Status, "working…")}},
        {R"({"type":"stream_event","event":{"type":"content_block_start","content_block":{"type":"tool_use"}}})",
         {event(Kind::Status, "working…")}},
        {R"({"type":"stream_event","event":"no object"})", {}},
        {R"({"type":"result","subtype":"success","result":"all","session_id":"s"})",
         {event(Kind::Session, "s"), event(Kind::Result)}},
        {R"({"is_error":true,"result":"why","subtype":"success","type":"result"})",
         {event(Kind::Result, "why", Outcome::Refused)}},
        {R"({"type":"result"})", {event(Kind::Result, "", Outcome::Failed)}},
        {R"({"type":"system","subtype":"api_retry","attempt":1})",
         {event(Kind::Status, "the agent is waiting to retry…")}},
    };
    for (const auto& row : ROWS)
        EXPECT_EQ(eventsOf(row.line), row.events) << row.line;
    EXPECT_EQ(
        eventsOf("{\"type\":\"stream_event\",\"event\":{\"type\":\"content_block_delta\",\"delta\":{\"text\":\"a\xff"
                 "b\"}}}"),
        std::vector{event(Kind::Delta, "a\uFFFDb")});
}
