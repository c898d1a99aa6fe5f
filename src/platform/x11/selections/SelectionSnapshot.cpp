#include "SelectionSnapshot.h"

#include "platform/selections/SelectionRules.h"

namespace ovalin {

namespace {

using Selections = std::unique_ptr<XSelections>;

constexpr std::chrono::seconds AFTERWARDS{2};

/// Whether nothing is missing.
bool readItems(XThread& thread, const Selections& selections, PasteboardSnapshot& snapshot,
               const SnapshotReading& how) {
    const Deadline deadline = how.deadline;
    const xcb_atom_t selection = selections->atom(how.selection);
    const auto offered =
        thread
            .ask<std::optional<QByteArrayList>>(how.targetsBy,
                                                [&selections, selection, by = how.targetsBy](auto answer) {
                                                    selections->readTargets(selection, by, std::move(answer));
                                                })
            .value_or(std::nullopt);
    if (!offered)
        return false;
    const QByteArrayList targets = targetsToTake(*offered);
    qsizetype room = how.bytes;
    bool complete = true;
    for (const QByteArray& target : targets + furtherPictures(*offered)) {
        struct Named {
            SelectionReading reading;
            QByteArray type;
        };
        const auto read =
            thread.ask<Named>(deadline, [&thread, &selections, selection, target, deadline, room](auto answer) {
                const SelectionReader::Request request{selection, thread.connection().atom(target), deadline, room};
                selections->reader.read(request, [&thread, answer](SelectionReading reading) {
                    QByteArray type = thread.connection().atomName(reading.type);
                    answer({std::move(reading), std::move(type)});
                });
            });
        const auto end = read ? read->reading.end : SelectionReading::End::Late;
        if (end == SelectionReading::End::Refused)
            continue; // listed, but not to be had: nobody else could have it either
        if (end != SelectionReading::End::Data) {
            complete = complete && !targets.contains(target);
            if (end == SelectionReading::End::Late)
                break;
            continue;
        }
        room -= read->reading.bytes.size();
        snapshot.items.push_back({target, read->type, read->reading.format, read->reading.bytes});
    }
    return complete;
}

} // namespace

std::optional<PasteboardSnapshot> readSnapshot(XThread& thread, const std::unique_ptr<XSelections>& selections,
                                               const SnapshotReading& how,
                                               const std::atomic<quint64>& clipboardChanges) {
    PasteboardSnapshot snapshot;
    const auto owner =
        thread.call(how.deadline, [&selections, how] { return selections->ownerOf(selections->atom(how.selection)); });
    if (!owner)
        return {};
    snapshot.owned = *owner != XCB_WINDOW_NONE;
    // A second task: the changes that the server told of until then are counted before it.
    const auto changes = [&selections, how, &clipboardChanges] {
        return selections->changesOf(how.selection, clipboardChanges);
    };
    const auto count = thread.call(how.deadline, changes);
    if (!count)
        return {};
    snapshot.changeCount = *count;
    if (snapshot.owned)
        snapshot.complete = readItems(thread, selections, snapshot, how) && !snapshot.items.empty();
    const auto countAfter = thread.call(how.deadline + AFTERWARDS, changes); // the owner may have used up the time
    if (!countAfter ||
        (how.partly ? *countAfter != snapshot.changeCount : !snapshot.complete || !isFaithful(snapshot, *countAfter)))
        return {};
    return snapshot;
}

} // namespace ovalin
