#pragma once

#include "Log.h"

#include <tl/expected.hpp>

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <sys/types.h>

namespace ovalin {

// Files that are replaced whole: a reader never sees half of one, and a crash leaves the old or the new one. Errors
// name the step that failed and the system's reason. All of it blocks on the disk: for workers (Queue::Files).

template <class T>
using FileResult = tl::expected<T, QString>;

/// Which file it was. A later look that differs tells that somebody has changed or replaced it.
struct FileVersion {
    bool exists = false;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 modified = 0; ///< nanoseconds since 1970
    qint64 size = 0;
    bool operator==(const FileVersion&) const = default;
};

struct FileContents {
    QByteArray bytes;
    FileVersion version; ///< of the moment before it was read
};

struct ReplaceOptions {
    mode_t newMode = 0600;   ///< of a file that was not there; one that was keeps its mode
    bool followLinks = true; ///< false: a symbolic link is itself replaced, for folders where others may plant one
    bool durable = true;     ///< fsync the file and its folder
};

enum class Replaced { Done, Changed };

/// A folder with its missing parents.
[[nodiscard]] FileResult<void> ensureFolder(const QString& path);

/// The version of the file at the end of the symbolic links, whatever kind of file it is.
[[nodiscard]] FileVersion versionOf(const QString& path);

/// The whole of a regular file of at most 256 MiB. A file that is not there is empty, and its version says so.
[[nodiscard]] FileResult<FileContents> readWholeFile(const QString& path);

/// Whether another process has the file open for writing, as far as the kernel tells (fcntl(2), leases).
[[nodiscard]] bool hasWriter(const QString& path);

/// Replaces a file, or makes it. Refuses what is not a regular file.
[[nodiscard]] FileResult<void> replaceFile(const QString& path, const QByteArray& bytes,
                                           const ReplaceOptions& options = {});

/// Replaces a file only if it still is what was read, or makes it only if none is there. `Changed`: somebody else was
/// first, or is writing into it at this moment, and his file stands; read again. Exact also against those who take no
/// lock, where the file system can exchange two names (ext4, xfs, btrfs, tmpfs); a short window remains elsewhere.
[[nodiscard]] FileResult<Replaced> replaceIfUnchanged(const QString& path, const FileContents& asRead,
                                                      const QByteArray& bytes, const ReplaceOptions& options = {});

/// Renames a file (or whatever stands there) to a new name beside it, "NAME-unreadable-TIME.EXT", and returns that;
/// an empty text when it is no longer of this version.
[[nodiscard]] FileResult<QString> setAside(const QString& path, const FileVersion& version);

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

/// The system's reason at the end of such an error, for a status line: "no space left on device".
[[nodiscard]] QString shortReason(const QString& error);

/// The bytes as a JSON object, or why they are none.
[[nodiscard]] FileResult<QJsonObject> parseObject(const QByteArray& bytes);

/// Indented, keys sorted.
[[nodiscard]] QByteArray prettyJson(const QJsonObject& object);

} // namespace ovalin
