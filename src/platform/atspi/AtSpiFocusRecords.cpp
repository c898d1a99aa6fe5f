#include "AtSpiFocusRecords.h"

#include <algorithm>
#include <array>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr size_t KEPT = 3;
constexpr size_t MOST_APPLICATIONS = 64;
// The key that opens the panel reaches us later than the application hears that it lost the focus by it; a machine
// under load stretches that.
constexpr auto BEFORE = 300ms;
constexpr auto AFTER = 300ms;

bool mayBeFalse(uint role) {
    constexpr std::array roles{AtSpiRole::Frame,      AtSpiRole::Filler,   AtSpiRole::Panel,     AtSpiRole::RootPane,
                               AtSpiRole::ScrollPane, AtSpiRole::Viewport, AtSpiRole::TableCell, AtSpiRole::ListItem,
                               AtSpiRole::TreeItem,   AtSpiRole::Table,    AtSpiRole::Tree,      AtSpiRole::TreeTable,
                               AtSpiRole::List,       AtSpiRole::PageTab,  AtSpiRole::Window};
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

} // namespace

AtSpiFocusRecords::Application& AtSpiFocusRecords::heardFrom(const QString& service, Time now) {
    if (applications.size() >= MOST_APPLICATIONS && !applications.contains(service))
        applications.erase(std::min_element(applications.begin(), applications.end(), [](auto& one, auto& other) {
            return one.second.heard < other.second.heard;
        }));
    Application& application = applications[service];
    application.heard = now;
    return application;
}

void AtSpiFocusRecords::gained(const AtSpiRef& object, Time now) {
    const std::lock_guard lock(mutex);
    auto& records = heardFrom(object.service, now).records;
    std::erase_if(records, [&](const Record& record) { return record.object == object; });
    records.insert(records.begin(), Record{.object = object});
    records.resize(std::min(records.size(), KEPT));
}

void AtSpiFocusRecords::lost(const AtSpiRef& object, Time now) {
    const std::lock_guard lock(mutex);
    auto& records = heardFrom(object.service, now).records;
    const auto known =
        std::find_if(records.begin(), records.end(), [&](const Record& record) { return record.object == object; });
    if (known != records.end()) {
        known->lost = now;
        return;
    }
    records.insert(records.begin(), Record{.object = object, .gained = false, .lost = now});
    records.resize(std::min(records.size(), KEPT));
}

void AtSpiFocusRecords::identified(const AtSpiRef& object, uint role, bool hasText) {
    const std::lock_guard lock(mutex);
    const auto application = applications.find(object.service);
    if (application == applications.end())
        return;
    for (Record& record : application->second.records) {
        if (record.object == object) {
            record.role = role;
            record.hasText = hasText;
        }
    }
}

void AtSpiFocusRecords::forgetAll() {
    const std::lock_guard lock(mutex);
    applications.clear();
}

std::optional<AtSpiRef> AtSpiFocusRecords::unidentified(const QString& service) const {
    const std::lock_guard lock(mutex);
    const auto application = applications.find(service);
    if (application == applications.end() || application->second.records.empty())
        return std::nullopt;
    const Record& newest = application->second.records.front();
    return newest.role ? std::nullopt : std::optional(newest.object);
}

std::vector<AtSpiFocusRecords::Record> AtSpiFocusRecords::of(const QString& service, Time taken) const {
    const std::lock_guard lock(mutex);
    const auto application = applications.find(service);
    if (application == applications.end())
        return {};
    std::vector<Record> records = application->second.records;
    // An object that was only ever lost had the focus until then, whenever that was.
    std::erase_if(records, [taken](const Record& record) {
        return !record.gained && (*record.lost < taken - BEFORE || *record.lost > taken + AFTER);
    });
    // Lost before, and nothing gained since: the focus is somewhere that tells nothing.
    if (!records.empty() && records.front().lost && *records.front().lost < taken - BEFORE)
        return {};
    return records;
}

AtSpiRef focusedOf(const std::vector<AtSpiFocusRecords::Record>& records) {
    for (const auto& record : records) {
        if (!record.role || !mayBeFalse(*record.role))
            return record.object;
    }
    return {};
}

} // namespace ovalin
