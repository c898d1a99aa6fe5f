#include "support/SoundServer.h"

#include "support/TestDesk.h"

#include <QDir>
#include <QFileInfo>

#include <stdexcept>

namespace ovalin {

SoundServer::SoundServer(Source source)
    : environment(QProcessEnvironment::systemEnvironment()) {
    environment.insert(QStringLiteral("HOME"), folder.path());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), folder.path());
    environment.insert(QStringLiteral("PULSE_SERVER"), address());
    for (const char* name : {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_CONFIG_HOME", "PULSE_COOKIE"})
        environment.remove(QString::fromLatin1(name));
    const QString script = folder.filePath(QStringLiteral("server.pa"));
    writeFile(script,
              "load-module module-native-protocol-unix socket=" + folder.filePath(QStringLiteral("s")).toUtf8() +
                  "\nload-module module-null-sink sink_name=played\n" +
                  (source == Source::Microphone
                       ? "load-module module-remap-source master=played.monitor source_name=microphone\n"
                         "set-default-source microphone\n"
                       : ""));
    server.setProcessEnvironment(environment);
    server.setProcessChannelMode(QProcess::MergedChannels);
    server.setStandardInputFile(QProcess::nullDevice());
    server.start(QStringLiteral("pulseaudio"),
                 {QStringLiteral("-n"), QStringLiteral("-F"), script, QStringLiteral("--daemonize=no"),
                  QStringLiteral("--use-pid-file=no"), QStringLiteral("--exit-idle-time=-1"),
                  QStringLiteral("--disable-shm=yes")});
    if (!waitUntil([this] { return run(QStringLiteral("pactl"), {QStringLiteral("info")}); }))
        throw std::runtime_error("no sound server: " + server.readAll().toStdString());
}

SoundServer::~SoundServer() { kill(); }

QString SoundServer::address() const { return QStringLiteral("unix:") + folder.filePath(QStringLiteral("s")); }

bool SoundServer::play(const QString& file) {
    return run(QStringLiteral("paplay"), {QStringLiteral("--device=played"), file});
}

void SoundServer::unplugMicrophone() {
    run(QStringLiteral("pactl"), {QStringLiteral("unload-module"), QStringLiteral("module-remap-source")});
}

void SoundServer::kill() {
    server.kill();
    server.waitForFinished();
}

bool SoundServer::hasListener() {
    QByteArray listed;
    run(QStringLiteral("pactl"), {QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("source-outputs")},
        &listed);
    return listed.contains("protocol-native");
}

bool SoundServer::run(const QString& program, const QStringList& arguments, QByteArray* output) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    // The event loop is served meanwhile: who records may sit in this very process.
    const bool ended = waitUntil([&] { return process.state() == QProcess::NotRunning; }, 60);
    if (!ended)
        process.kill();
    process.waitForFinished();
    if (output)
        *output = process.readAllStandardOutput();
    return ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString spoken(const QString& text, const QString& folder) {
    const QString file = QDir(folder).filePath(QStringLiteral("%1.wav").arg(qHash(text)));
    const int status =
        QProcess::execute(QStringLiteral("flite"), {QStringLiteral("-voice"), QStringLiteral("rms"),
                                                    QStringLiteral("-t"), text, QStringLiteral("-o"), file});
    return status == 0 && QFileInfo(file).size() > 44 ? file : QString();
}

QString speechFolder() {
    const QString folder = QStringLiteral(OVALIN_SPEECH);
    return QFileInfo::exists(folder + QStringLiteral("/installed")) ? folder : QString();
}

} // namespace ovalin
