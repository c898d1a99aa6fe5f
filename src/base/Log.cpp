#include "Log.h"

#include "Text.h"

#include <QMutex>
#include <QSet>

#include <unistd.h>

namespace ovalin {

namespace {

struct Sink {
    QMutex mutex;
    std::function<void(const QString&)> function;
    QSet<QString> seen;
};

bool verbose = false;

Sink& sink() {
    static Sink theSink;
    return theSink;
}

} // namespace

void logLine(const QString& event) {
    QString line = inPlainLines(event); // a terminal would obey what a title says
    line.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    QMutexLocker lock(&sink().mutex);
    if (sink().function) {
        sink().function(line);
        return;
    }
    QByteArray bytes = line.toUtf8();
    bytes.append('\n');
    // One write, so that lines of several threads never mix; a reader that went away costs us the line, nothing else.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, bytes.constData(), static_cast<size_t>(bytes.size()));
}

QString forLog(const QString& words) {
    return verbose ? words : QStringLiteral("(%1 characters)").arg(characterCount(words));
}

void setLogSink(std::function<void(const QString&)> function) {
    QMutexLocker lock(&sink().mutex);
    sink().function = std::move(function);
    sink().seen.clear();
}

bool verboseLog() { return verbose; }

void setVerboseLog(bool on) { verbose = on; }

void logOnce(const QString& key, const QString& event) {
    {
        QMutexLocker lock(&sink().mutex);
        if (sink().seen.contains(key))
            return;
        sink().seen.insert(key);
    }
    logLine(event);
}

} // namespace ovalin
