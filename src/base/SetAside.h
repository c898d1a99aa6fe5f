#pragma once

#include "Log.h"
#include "WholeFile.h"

namespace ovalin {

/// Renames a file (or whatever stands there) to a new name beside it, "NAME-unreadable-TIME.EXT", and returns that;
/// an empty text when it is no longer of this version. Blocks: for workers.
[[nodiscard]] FileResult<QString> setAside(const QString& path, const FileVersion& version);

/// Removes a file of the user's words for good, and what was set aside of it; the latter alone where others share it.
enum class StorePart { All, SetAside };
[[nodiscard]] FileResult<void> removeStore(const QString& path, StorePart part = StorePart::All);

/// Reads a file that is to be replaced. What cannot be read stays where it is, and nothing takes its place: it may be
/// whole. What `parse` refuses is set aside, `what` it was goes to the log, and it counts as an empty file.
template <class Parse>
[[nodiscard]] auto readOrSetAside(const QString& path, const QString& what, Parse parse)
    -> decltype(parse(QByteArray())) {
    const auto file = readWholeFile(path);
    if (!file)
        return tl::unexpected(file.error());
    auto parsed = parse(file->bytes);
    if (parsed)
        return parsed;
    const auto aside = setAside(path, file->version);
    if (!aside || aside->isEmpty())
        return tl::unexpected(aside ? path + QStringLiteral(" is being changed") : aside.error());
    logLine(QStringLiteral("Ovalin: %1 set aside as %2 — %3").arg(what, *aside, parsed.error()));
    return parse(QByteArray());
}

} // namespace ovalin
