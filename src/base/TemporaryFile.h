#pragma once

#include "Descriptor.h"
#include "FileSteps.h"

#include <QDateTime>

#include <sys/types.h>

#include <functional>

namespace ovalin {

/// A new file in the folder of the one that it will replace; removed when it goes, whatever it holds by then.
class TemporaryFile {
public:
    [[nodiscard]] static FileResult<TemporaryFile> beside(const QString& target);
    TemporaryFile(TemporaryFile&& other) noexcept
        : path(std::exchange(other.path, {}))
        , file(std::move(other.file)) {}
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    ~TemporaryFile();

    /// Writes all of it and closes; `durable`: it is on the disk by then.
    [[nodiscard]] FileResult<FileVersion> fill(const QByteArray& bytes, mode_t mode, bool durable);

    [[nodiscard]] const QString& name() const { return path; }
    /// It has become another file, and stays.
    void release() { path.clear(); }

private:
    TemporaryFile() = default;
    QString path;
    Descriptor file;
};

/// Removes this user's files in the folder that match the pattern and were last written before then; `needed` is asked
/// with the name without its last extension.
void sweepFiles(const QString& folder, const QString& pattern, const QDateTime& before,
                const std::function<bool(const QString& baseName)>& needed = {});

/// The temporary files that a kill has left there.
void sweepTemporaryFiles(const QString& folder, const QDateTime& before);

} // namespace ovalin
