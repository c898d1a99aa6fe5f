#pragma once

#include "base/Log.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimeZone>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

/// What nearly every test begins with.
namespace ovalin {

/// Polls until `condition` holds, serving the event loop meanwhile; false when `seconds` passed first.
bool waitUntil(const std::function<bool()>& condition, double seconds = 10);
/// Whether the process ends within that time; one that nobody has waited for has ended too.
bool ends(qint64 pid);

[[nodiscard]] QByteArray readFile(const QString& path);
[[nodiscard]] QJsonObject readJson(const QString& path);
/// Each line that is an object of its own.
[[nodiscard]] std::vector<QJsonObject> readJsonLines(const QString& path);
void writeFile(const QString& path, const QByteArray& bytes);
/// The same, executable. Returns the path.
QString writeProgram(const QString& path, const QByteArray& text);

/// The lines logged while it lives.
struct LogRecorder {
    QStringList lines;
    LogRecorder() {
        setLogSink([this](const QString& line) { lines.append(line); });
    }
    ~LogRecorder() { setLogSink({}); }
    [[nodiscard]] int count(const QString& part) const { return static_cast<int>(lines.filter(part).size()); }
    [[nodiscard]] std::string all() const { return lines.join(u'\n').toStdString(); }
};

/// A process and its group, stopped and continued with the scope.
class Stopped {
public:
    explicit Stopped(const QProcess& process)
        : group(static_cast<pid_t>(process.processId())) {
        ::kill(-group, SIGSTOP);
    }
    ~Stopped() { ::kill(-group, SIGCONT); }
    Stopped(const Stopped&) = delete;
    Stopped& operator=(const Stopped&) = delete;

private:
    pid_t group;
};

} // namespace ovalin

using namespace ovalin;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
