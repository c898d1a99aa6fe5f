#include "support/Testing.h"

#include <QDeadlineTimer>
#include <QThread>

#include <filesystem>

namespace ovalin {

bool waitUntil(const std::function<bool()>& condition, double seconds) {
    const QDeadlineTimer deadline(static_cast<qint64>(seconds * 1000));
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        if (QCoreApplication::instance())
            QCoreApplication::processEvents();
        QThread::msleep(5);
    }
    return true;
}

bool ends(qint64 pid) {
    return pid > 0 && waitUntil([pid] {
               const QByteArray status = readFile(u"/proc/%1/stat"_s.arg(pid));
               return status.isEmpty() || status.contains(") Z ");
           });
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonObject readJson(const QString& path) { return QJsonDocument::fromJson(readFile(path)).object(); }

std::vector<QJsonObject> readJsonLines(const QString& path) {
    std::vector<QJsonObject> all;
    for (const QByteArray& line : readFile(path).split('\n')) {
        if (const auto document = QJsonDocument::fromJson(line); document.isObject())
            all.push_back(document.object());
    }
    return all;
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

QString writeProgram(const QString& path, const QByteArray& text) {
    const QString written = path + u".new"_s; // no program can be written to while it is being started
    writeFile(written, text);
    QFile::setPermissions(written, QFile::Permissions(0x7755));
    std::filesystem::rename(written.toStdString(), path.toStdString());
    return path;
}

} // namespace ovalin
