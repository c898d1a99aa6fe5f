#include "StreamProtocol.h"

#include "LineReader.h"

#include <QRegularExpression>

#include <simdjson.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using simdjson::dom::array;
using simdjson::dom::element;
using simdjson::dom::object;
using Kind = StreamEvent::Kind;
using Outcome = StreamEvent::Outcome;

static_assert(LineReader::PADDING >= simdjson::SIMDJSON_PADDING);

QString toText(std::string_view utf8) { return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())); }

/// Escapes of one half of a surrogate pair become the replacement character.
QString withoutHalves(const QString& json) {
    static const QRegularExpression half(
        QStringLiteral(R"((?<!\\)(?:\\\\)*\K(?:(\\u[dD][89abAB]..\\u[dD][c-fC-F]..)|\\u[dD][89a-fA-F]..))"));
    QString mended;
    qsizetype taken = 0;
    for (auto found = half.globalMatch(json); found.hasNext();) {
        const auto match = found.next();
        if (match.hasCaptured(1))
            continue; // a whole pair
        mended += QStringView(json).mid(taken, match.capturedStart() - taken);
        mended += u"\\ufffd"_s;
        taken = match.capturedEnd();
    }
    mended += QStringView(json).mid(taken);
    return mended;
}

/// The member if it is a string, else an empty one.
std::string_view stringIn(const object& holder, std::string_view key) {
    std::string_view value;
    return holder[key].get(value) == simdjson::SUCCESS ? value : std::string_view();
}

bool trueIn(const object& holder, std::string_view key) {
    bool value = false;
    return holder[key].get(value) == simdjson::SUCCESS && value;
}

void handleStreamed(const object& streamed, const StreamProtocol::Event& event) {
    const std::string_view kind = stringIn(streamed, "type");
    object part;
    if (kind == "content_block_delta") {
        if (streamed["delta"].get(part) != simdjson::SUCCESS)
            return;
        const std::string_view text = stringIn(part, "text");
        if (!text.empty())
            event({Kind::Delta, toText(text), {}});
    } else if (kind == "content_block_start") {
        if (streamed["content_block"].get(part) == simdjson::SUCCESS && stringIn(part, "type") == "tool_use")
            event({Kind::Status, toolStatus(stringIn(part, "name")), {}});
    } else if (kind == "message_start") {
        event({Kind::MessageStart, {}, {}});
    }
}

/// A finished block comes once more, whole. The CLI's own messages ("<synthetic>") repeat what the result says.
void handleAssistant(const object& line, const StreamProtocol::Event& event) {
    object message;
    array content;
    std::string_view ofTool;
    if (line["parent_tool_use_id"].get(ofTool) == simdjson::SUCCESS ||
        line["message"].get(message) != simdjson::SUCCESS || stringIn(message, "model") == "<synthetic>" ||
        message["content"].get(content) != simdjson::SUCCESS)
        return;
    QString text;
    for (const element& entry : content) {
        object block;
        if (entry.get(block) == simdjson::SUCCESS && stringIn(block, "type") == "text")
            text += toText(stringIn(block, "text"));
    }
    if (!text.isEmpty())
        event({Kind::BlockText, text, {}});
}

void handleLine(const object& line, const StreamProtocol::Event& event) {
    const std::string_view type = stringIn(line, "type");
    if (type == "stream_event") {
        object streamed;
        if (line["event"].get(streamed) == simdjson::SUCCESS)
            handleStreamed(streamed, event);
    } else if (type == "result") {
        const Outcome outcome = stringIn(line, "subtype") != "success" ? Outcome::Failed
                                : trueIn(line, "is_error")             ? Outcome::Refused
                                                                       : Outcome::Success;
        event({Kind::Result, outcome == Outcome::Success ? QString() : toText(stringIn(line, "result")), outcome});
    } else if (type == "assistant") {
        handleAssistant(line, event);
    } else if (type == "user") {
        if (trueIn(line, "isSynthetic"))
            event({Kind::Continued, {}, {}});
    } else if (type == "system" && stringIn(line, "subtype") == "api_retry") {
        event({Kind::Status, u"the agent is waiting to retry…"_s, {}});
    }
}

} // namespace

struct StreamProtocol::Scratch {
    simdjson::dom::parser parser;
    std::string session;
};

StreamProtocol::StreamProtocol()
    : scratch(std::make_unique<Scratch>()) {}

StreamProtocol::~StreamProtocol() = default;

QString toolStatus(std::string_view tool) {
    if (tool == "Bash")
        return u"running a command…"_s;
    if (tool == "Edit" || tool == "Write")
        return u"editing files…"_s;
    if (tool == "Read" || tool == "Grep" || tool == "Glob")
        return u"reading files…"_s;
    if (tool == "WebFetch" || tool == "WebSearch")
        return u"searching the web…"_s;
    return u"working…"_s;
}

void StreamProtocol::handleAskLine(std::string_view line, const Event& event) {
    auto parsed = scratch->parser.parse(line.data(), line.size(), false);
    if (parsed.error() == simdjson::UTF8_ERROR || parsed.error() == simdjson::STRING_ERROR) {
        // One broken character, or half of one that was cut in two, must not cost the user the words around it.
        const QByteArray mended = withoutHalves(toText(line)).toUtf8();
        parsed = scratch->parser.parse(mended.constData(), static_cast<size_t>(mended.size()), true);
    }
    object top;
    if (parsed.get(top) != simdjson::SUCCESS)
        return;
    if (const std::string_view session = stringIn(top, "session_id"); !session.empty() && session != scratch->session) {
        scratch->session = session;
        event({Kind::Session, toText(session), {}});
    }
    handleLine(top, event);
}

} // namespace ovalin
