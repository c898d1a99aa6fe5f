#pragma once

#include "support/Testing.h"
#include "views/ChatView.h"
#include "views/DictationField.h"

namespace ovalin {

/// A prompt that keeps what dictation does to it.
struct FakeDictationField final : DictationField {
    QString text, status; ///< "listening", or why not
    bool shown = true, listening = false;
    QString prompt() const override { return text; }
    void setPrompt(const QString& words) override { text = words; }
    void focusPrompt() override {}
    bool isShown() const override { return shown; }
    void setMicState(bool active, const QString& note) override {
        listening = active;
        status = active ? u"listening"_s : note;
    }
};

/// A conversation as plain text, which shows as fast as the test wants.
struct FakeChatView final : ChatView {
    QString conversation, answer;
    bool shows = true; ///< else everything stays in the backlog
    std::vector<LinkSpan> links;

    void appendTranscript(Speaker speaker, const QString& text) override {
        label(speaker);
        conversation += text;
    }
    void beginAnswer() override {
        label(Speaker::Torvi);
        answer.clear();
        links.clear();
    }
    void appendAnswer(const QString& text) override {
        answer += text;
        conversation += text;
    }
    void truncateAnswer(qsizetype length) override {
        conversation.chop(answer.size() - length);
        answer.truncate(length);
    }
    qsizetype backlog() const override { return shows ? 0 : answer.size(); }
    void linkify(std::vector<LinkSpan> spans) override { links = std::move(spans); }
    void repairLinks(const QHash<QString, QString>& table) override {
        for (LinkSpan& link : links)
            link.target = table.value(link.target, link.target);
    }
    void clearConversation() override { conversation.clear(); }

private:
    void label(Speaker speaker) {
        conversation += conversation.isEmpty() ? QString() : u"\n\n"_s;
        conversation += speaker == Speaker::You ? u"YOU\n"_s : u"TORVI\n"_s;
    }
};

} // namespace ovalin
