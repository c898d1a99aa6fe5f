#pragma once

#include <tl/expected.hpp>

#include <QString>

#include <cerrno>

struct stat;

namespace ovalin {

// What the replacing of files is made of. Paths may be relative; errors name the step and the system's reason.

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

    [[nodiscard]] static FileVersion from(const struct ::stat& status);
};

[[nodiscard]] tl::unexpected<QString> fileFailure(const char* step, const QString& path, int error = errno);

/// Where the symbolic links end, also when nothing is there.
[[nodiscard]] FileResult<QString> endOfLinks(const QString& path);

/// 0, or -1 with errno; `flags` are those of renameat2(2).
int renameFile(const QString& from, const QString& to, unsigned flags = 0);
/// Renames, or fails with EEXIST where the name is taken.
int renameToFreeName(const QString& from, const QString& to);

/// "captures.json" and "unreadable-T": "captures-unreadable-T.json", in the same folder.
[[nodiscard]] QString nameBeside(const QString& target, const QString& word);

/// Makes a rename in there last. Failures are passed over: the rename is done.
void syncFolderOf(const QString& path);

} // namespace ovalin
