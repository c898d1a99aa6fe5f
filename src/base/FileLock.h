#pragma once

#include "Descriptor.h"

#include <QString>

#include <chrono>

namespace ovalin {

/// Holds others off who take the same lock: flock() on PATH.lock. Waits at most `patience`; without the lock the work
/// goes on, for a stuck program must not stop us and replaceIfUnchanged() (WholeFile.h) protects the file.
class FileLock {
public:
    explicit FileLock(const QString& path, std::chrono::milliseconds patience = std::chrono::seconds(2));
    [[nodiscard]] bool held() const { return locked; }

private:
    Descriptor file;
    bool locked = false;
};

} // namespace ovalin
