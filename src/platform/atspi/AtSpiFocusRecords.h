#pragma once

#include "AtSpiBus.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace ovalin {

/// Which objects had the keyboard focus last, by what their applications told: the newest three of each. Keeps names,
/// roles and times, never a text. Any thread.
class AtSpiFocusRecords {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Record {
        AtSpiRef object;
        std::optional<uint> role = {}; ///< absent: the object has not answered
        bool hasText = false;
        bool gained = true; ///< false: known by its loss alone
        std::optional<Time> lost = {};
    };

    void gained(const AtSpiRef& object, Time now);
    void lost(const AtSpiRef& object, Time now);
    /// What the object has answered about itself.
    void identified(const AtSpiRef& object, uint role, bool hasText);
    void forgetAll();

    /// The newest object of the application, if it has not said yet what it is.
    [[nodiscard]] std::optional<AtSpiRef> unidentified(const QString& service) const;

    /// The application's records, newest first, as far as they tell where its focus was when a panel took the keyboard
    /// at `taken`: the loss that follows from that does not count, and names an object that never told its gain.
    [[nodiscard]] std::vector<Record> of(const QString& service, Time taken) const;

private:
    struct Application {
        std::vector<Record> records;
        Time heard;
    };
    Application& heardFrom(const QString& service, Time now);

    mutable std::mutex mutex;
    std::map<QString, Application> applications; // by bus name
};

/// The object that has the focus among the records of one application, newest first: some toolkits tell of cells, panes
/// and frames although the focus is in the text before them. Null when none of them says so. Pure.
[[nodiscard]] AtSpiRef focusedOf(const std::vector<AtSpiFocusRecords::Record>& records);

} // namespace ovalin
