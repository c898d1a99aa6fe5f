#include "Fuzz.h"

#include "base/Log.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstring>

namespace ovalin::fuzz {

namespace {

const Target* chosen = nullptr;
QTemporaryDir* folder = nullptr;

} // namespace

std::vector<Target>& targets() {
    static std::vector<Target> all;
    return all;
}

QString fileWith(const QString& name, const QByteArray& bytes) {
    QFile file(folder->filePath(name));
    // Old, or what cannot be read would be waited for as half written.
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush() &&
                file.setFileTime(QDateTime::currentDateTime().addDays(-1), QFile::FileModificationTime),
            "there is room in memory");
    return file.fileName();
}

} // namespace ovalin::fuzz

using namespace ovalin::fuzz;

// NOLINTBEGIN(readability-identifier-naming): libFuzzer's
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication application(*argc, *argv);
    static QTemporaryDir own(QStringLiteral("/dev/shm/ovalin-fuzz"));
    folder = &own;
    qputenv("HOME", own.path().toUtf8());
    const char* const name = std::getenv("OVALIN_FUZZ");
    const auto found = std::ranges::find_if(
        targets(), [name](const Target& target) { return name != nullptr && !std::strcmp(target.name, name); });
    if (found == targets().end()) {
        for (const Target& target : targets())
            std::puts(target.name);
        std::exit(name == nullptr ? 0 : 2);
    }
    chosen = &*found;
    ovalin::setLogSink([](const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    chosen->run(in);
    return 0;
}
// NOLINTEND(readability-identifier-naming)
