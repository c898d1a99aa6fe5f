#pragma once

#include "MutterSession.h"

#include "base/Dispatch.h"
#include "base/EventThread.h"

#include <QThread>

#include <atomic>
#include <functional>
#include <type_traits>

namespace ovalin {

/// CLIPBOARD by a session with the shell, for as long as it is needed; PRIMARY is nobody's to read there. Of a content
/// that the shell keeps only the text or the picture comes back.
class GnomePasteboard final : public Pasteboard {
public:
    explicit GnomePasteboard(Dispatch& dispatch, const QString& busAddress = sessionBusAddress());

    [[nodiscard]] std::optional<QString> primaryText(qint32, Freshness) override { return {}; }
    [[nodiscard]] quint64 changeCount() override { return 0; }
    /// None: nothing is asked for a copy here, since a session would be seen at every opening.
    [[nodiscard]] std::optional<PasteboardSnapshot> snapshot() override { return {}; }
    [[nodiscard]] PasteboardSnapshot save(Selection selection) override;
    [[nodiscard]] bool borrow(Selection selection, const QString& text, qint32 reader) override;
    [[nodiscard]] Loan loan(Selection selection) override;
    bool giveBack(Selection selection, PasteboardSnapshot saved, GiveBack when) override;
    [[nodiscard]] std::optional<QString> text() override;
    void restore(PasteboardSnapshot) override {}
    void readText(Selection selection, QObject* context, std::function<void(const QString&)> done) override;

    /// Types into what has the keyboard; who asks for the clipboard from then on is the target. Worker threads.
    [[nodiscard]] bool press(const std::vector<WaylandChord>& chords);
    /// Whether the shell gives all this. Worker threads.
    [[nodiscard]] bool offered();

private:
    template <class Work>
    auto call(Work work) {
        std::invoke_result_t<Work> result{};
        QMetaObject::invokeMethod(
            session, [&] { result = work(); }, Qt::BlockingQueuedConnection);
        return result;
    }
    [[nodiscard]] MutterSession::Clipboard shown();
    [[nodiscard]] std::optional<QByteArray> read(const QByteArray& type, Deadline deadline, qsizetype most);
    [[nodiscard]] bool own(MutterSession::Content content);

    Dispatch& dispatch;
    std::atomic<Deadline> keysSent{};
    MutterSession* const session; // the thread's
    BusThread thread;
};

} // namespace ovalin
