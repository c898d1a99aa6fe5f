#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

namespace ovalin::fuzz {

/// What is read from others, given whatever they may have written. One program holds all of them (libFuzzer,
/// https://llvm.org/docs/LibFuzzer.html); OVALIN_FUZZ names the one to run. Strings are taken from the front of an
/// input and numbers from its end, so that the files of a corpus can be read.
struct Target {
    const char* name;
    void (*run)(FuzzedDataProvider& in);
};
[[nodiscard]] std::vector<Target>& targets();

/// The file of this name in a folder in memory, with these bytes; its path.
QString fileWith(const QString& name, const QByteArray& bytes);

[[nodiscard]] inline QByteArray rest(FuzzedDataProvider& in) {
    return QByteArray::fromStdString(in.ConsumeRemainingBytesAsString());
}
[[nodiscard]] inline QString text(FuzzedDataProvider& in) {
    return QString::fromStdString(in.ConsumeRandomLengthString());
}

/// A promise of the code that is fuzzed; its breach ends the program like a crash.
inline void require(bool kept, const char* promise) {
    if (kept)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

} // namespace ovalin::fuzz

#define OVALIN_FUZZ(name)                                                                                              \
    static void name(FuzzedDataProvider& in);                                                                          \
    [[maybe_unused]] static const bool name##Added = (ovalin::fuzz::targets().push_back({#name, name}), true);         \
    static void name(FuzzedDataProvider& in)
