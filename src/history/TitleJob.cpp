#include "TitleJob.h"

#include "base/AgentLine.h"
#include "base/Text.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype TITLE_LIMIT = 80;        // user-perceived characters
constexpr qsizetype LONGEST_QUESTION = 2000; // the same; a variable holds 128 KiB at most

} // namespace

ChildCommand titleCommand(const QString& agent, const QString& question) {
    const AgentRequest request{u"OVALIN_TITLE_Q"_s, firstCharacters(question, LONGEST_QUESTION)};
    ChildCommand command =
        shellCommand(agentWritingLine(agent, AgentEffort::Low,
                                      u"Write a 3-6 word title for a conversation that starts with the given "
                                      "question. Output ONLY the title - no quotes, no period."_s,
                                      request),
                     {{request.variable, request.words}});
    command.workingDirectory = u"/"_s;
    return command;
}

std::optional<QString> titleFrom(const QByteArray& printed) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless); // a cut-off end is an error too
    const QString text = decoder.decode(printed);
    const QString title = text.trimmed();
    if (decoder.hasError() || title.isEmpty() || characterCount(title) >= TITLE_LIMIT)
        return std::nullopt;
    return title;
}

std::optional<QString> askForTitle(const AgentSearch& search, const QString& question, const std::stop_token& stop) {
    const auto agent = findClaudeBinary(search);
    if (!agent)
        return std::nullopt;
    RunOptions options;
    options.deadline = std::chrono::minutes(5); // an agent out of reach tries again for three
    options.outputLimit = 1 << 16;
    options.stop = stop;
    options.supervised = true;
    return titleFrom(runToEnd(titleCommand(*agent, question), options).output);
}

} // namespace ovalin
