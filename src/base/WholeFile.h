#pragma once

#include "FileSteps.h"

#include <QByteArray>

#include <sys/types.h>

namespace ovalin {

// Files that are replaced whole: a reader never sees half of one, and a crash leaves the old or the new one. Errors
// name the step that failed and the system's reason. All of it blocks on the disk: for workers (Queue::Files).

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
/// first, or is writing into it at this moment, and their file stands; read again. Exact also against those who take no
/// lock, where the file system can exchange two names (ext4, xfs, btrfs, tmpfs); a short window remains elsewhere.
[[nodiscard]] FileResult<Replaced> replaceIfUnchanged(const QString& path, const FileContents& asRead,
                                                      const QByteArray& bytes, const ReplaceOptions& options = {});

/// The system's reason at the end of such an error, for a status line: "no space left on device".
[[nodiscard]] QString shortReason(const QString& error);

} // namespace ovalin
