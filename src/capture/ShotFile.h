#pragma once

#include <QString>

namespace ovalin {

/// The temporary file of one screenshot: ovalin-shot-<milliseconds since 1970>.png in the temporary folder. It is made
/// empty, readable by us alone, and only where nothing stood before, so that nobody can have the picture written
/// elsewhere or read it. Removed, with what a killed screenshot program left beside it, when this goes.
class ShotFile {
public:
    ShotFile();
    ~ShotFile();
    ShotFile(const ShotFile&) = delete;
    ShotFile& operator=(const ShotFile&) = delete;

    /// Empty when no file could be made.
    [[nodiscard]] const QString& path() const { return filePath; }

private:
    QString filePath;
};

} // namespace ovalin
