#include "support/SoundServer.h"

#include "support/TestDesk.h"

#include <QDir>
#include <QFileInfo>

#include <stdexcept>

namespace ovalin {

using namespace Qt::StringLiterals;

SoundServer::SoundServer(Source source)
    : environment(QProcessEnvironment::systemEnvironment()) {
    environment.insert(u"HOME"_s, folder.path());
    environment.insert(u"XDG_RUNTIME_DIR"_s, folder.path());
    environment.insert(u"PULSE_SERVER"_s, address());
    for (const char* name : {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_CONFIG_HOME", "PULSE_COOKIE"})
        environment.remove(QString::fromLatin1(name));
    const QString script = folder.filePath(u"server.pa"_s);
    writeFile(script, "load-module module-native-protocol-unix socket=" + folder.filePath(u"s"_s).toUtf8() +
                          "\nload-module module-null-sink sink_name=played\n" +
                          (source == Source::Microphone
                               ? "load-module module-remap-source master=played.monitor source_name=microphone\n"
                                 "set-default-source microphone\n"
                               : ""));
    server.setProcessEnvironment(environment);
    server.setProcessChannelMode(QProcess::MergedChannels);
    server.setStandardInputFile(QProcess::nullDevice());
    server.start(u"pulseaudio"_s, {u"-n"_s, u"-F"_s, script, u"--daemonize=no"_s, u"--use-pid-file=no"_s,
                                   u"--exit-idle-time=-1"_s, u"--disable-shm=yes"_s});
    if (!waitUntil([this] { return run(u"pactl"_s, {u"info"_s}); }))
        throw std::runtime_error("no sound server: " + server.readAll().toStdString());
}

SoundServer::~SoundServer() { kill(); }

QString SoundServer::address() const { return u"unix:"_s + folder.filePath(u"s"_s); }

bool SoundServer::play(const QString& file) { return run(u"paplay"_s, {u"--device=played"_s, file}); }

void SoundServer::unplugMicrophone() { run(u"pactl"_s, {u"unload-module"_s, u"module-remap-source"_s}); }

void SoundServer::kill() {
    server.kill();
    server.waitForFinished();
}

bool SoundServer::hasListener() {
    QByteArray listed;
    run(u"pactl"_s, {u"list"_s, u"short"_s, u"source-outputs"_s}, &listed);
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
    const QString file = QDir(folder).filePath(u"%1.wav"_s.arg(qHash(text)));
    const int status = QProcess::execute(u"flite"_s, {u"-voice"_s, u"rms"_s, u"-t"_s, text, u"-o"_s, file});
    return status == 0 && QFileInfo(file).size() > 44 ? file : QString();
}

QString speechFolder() {
    const QString folder = QStringLiteral(OVALIN_SPEECH);
    return QFileInfo::exists(folder + u"/installed"_s) ? folder : QString();
}

} // namespace ovalin
