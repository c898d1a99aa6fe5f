#include "e2e/OvalinDesk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <stdexcept>

namespace ovalin {

namespace {

const QString BINARY = QStringLiteral(OVALIN_BINARY);

TestDesk::Options withOddHome(TestDesk::Options options) {
    options.folderName = QStringLiteral("-it's a \"home\" ");
    return options;
}

} // namespace

OvalinDesk::OvalinDesk(const Options& options)
    : TestDesk(withOddHome(options)) {
    // The first opening's help card is a test of its own.
    writeFile(path(QStringLiteral(".config/ovalin/ovalin.conf")),
              "[General]\novalinHowtoSeen=true\novalinAccessibilityOffered=true\n");
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    environment.insert(QStringLiteral("IS_SANDBOX"), QStringLiteral("1"));
}

OvalinDesk::~OvalinDesk() {
    if (!program)
        return;
    end(*program);
    EXPECT_EQ(program->exitStatus(), QProcess::NormalExit) << log().toStdString();
    EXPECT_FALSE(log().contains(QStringLiteral("Sanitizer")) || log().contains(QStringLiteral("runtime error:")))
        << log().toStdString();
}

void OvalinDesk::startOvalin(const QStringList& arguments) { startBinary(BINARY, arguments); }

void OvalinDesk::startOvalinWith(const QString& tool, const QByteArray& script) {
    const QDir built = QFileInfo(BINARY).dir();
    const QString place = path(QStringLiteral("copy"));
    QDir().mkpath(place + QStringLiteral("/libexec"));
    QFile::link(built.filePath(QStringLiteral("resources")), place + QStringLiteral("/resources"));
    for (const QString& name : QDir(built.filePath(QStringLiteral("libexec"))).entryList(QDir::Files)) {
        if (name != tool)
            QFile::link(built.filePath(QStringLiteral("libexec/") + name), place + QStringLiteral("/libexec/") + name);
    }
    if (!script.isEmpty())
        installScript(QStringLiteral("copy/libexec/") + tool, script);
    environment.insert(QStringLiteral("TOOLS"), built.filePath(QStringLiteral("libexec")));
    const QString copy = place + QStringLiteral("/ovalin");
    // The program finds its helpers beside itself, and a symbolic link would lead back to the real ones.
    if (!QFile::copy(BINARY, copy))
        throw std::runtime_error("cannot copy the program");
    startBinary(copy, {});
}

void OvalinDesk::startBinary(const QString& binary, const QStringList& arguments) {
    const QString ready = QStringLiteral("Ovalin ready");
    const auto before = log().count(ready); // of an earlier start on this desk
    program = &start(binary, arguments);
    if (!waitUntil([&] { return log().count(ready) > before; }, 30))
        throw std::runtime_error("the program did not start: " + log().toStdString());
}

OvalinDesk::Run OvalinDesk::runOvalin(const QStringList& arguments) const {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(BINARY, arguments);
    if (!process.waitForFinished(20000))
        return {};
    return {process.exitCode(), QString::fromUtf8(process.readAll())};
}

bool OvalinDesk::waitForLog(const QString& text, double seconds) const {
    return waitUntil([&] { return log().contains(text); }, seconds);
}

QString OvalinDesk::openEditor(const QByteArray& text) {
    const QString file = path(QStringLiteral("document.txt"));
    writeFile(file, text);
    start(QStringLiteral("mousepad"), {QStringLiteral("--disable-server"), file});
    const QString window = waitForWindow(QStringLiteral("mousepad"), 30);
    if (window.isEmpty())
        throw std::runtime_error("no editor: " + TestDesk::log(QStringLiteral("mousepad")).toStdString());
    xdotool(
        {QStringLiteral("windowsize"), QStringLiteral("--sync"), window, QStringLiteral("700"), QStringLiteral("500")});
    xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), window});
    return window;
}

QString OvalinDesk::panelWindow() const {
    return xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                    QStringLiteral("^Ovalin$")})
        .section(QLatin1Char('\n'), 0, 0);
}

void OvalinDesk::pressHotkey() const {
    constexpr qint64 DEBOUNCE = 400; // ms; the program's own is 250
    waitUntil([this] { return !sinceHotkey.isValid() || sinceHotkey.hasExpired(DEBOUNCE); });
    pressKey(QStringLiteral("alt+space"));
    sinceHotkey.start();
}

bool OvalinDesk::waitForPanel(bool open, double seconds) const {
    return waitUntil([&] { return panelWindow().isEmpty() != open; }, seconds);
}

QString OvalinDesk::primary() const {
    return output(QStringLiteral("xclip"),
                  {QStringLiteral("-o"), QStringLiteral("-selection"), QStringLiteral("primary")});
}

QRect OvalinDesk::frameOf(const QString& window) const {
    const QString shell =
        xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window}) + QLatin1Char('\n');
    const auto value = [&shell](const char* key) {
        return shell.section(QLatin1String(key) + QLatin1Char('='), 1).section(QLatin1Char('\n'), 0, 0).toInt();
    };
    return {value("\nX"), value("\nY"), value("\nWIDTH"), value("\nHEIGHT")};
}

void OvalinDesk::keepPicture(const QString& name) const {
    const QString pictures = qEnvironmentVariable("OVALIN_TEST_PICTURES");
    if (!pictures.isEmpty())
        screenshot(QDir(pictures).filePath(name + QStringLiteral(".png")));
}

std::vector<QJsonObject> OvalinDesk::requests() const {
    std::vector<QJsonObject> found;
    for (const char* subfolder : {"/capture-queue", "/capture-queue/processed"}) {
        const QDir queue(systemDir() + QString::fromLatin1(subfolder));
        for (const QString& file : queue.entryList({QStringLiteral("*.json")}, QDir::Files))
            found.push_back(QJsonDocument::fromJson(readFile(queue.filePath(file))).object());
    }
    return found;
}

QJsonObject OvalinDesk::waitForRequest(double seconds) const {
    QJsonObject request;
    waitUntil(
        [&] {
            const auto found = requests();
            if (found.size() == 1)
                request = found.front();
            return !request.isEmpty();
        },
        seconds);
    return request;
}

QJsonObject OvalinDesk::waitForRequestWith(const QString& prompt, double seconds) const {
    QJsonObject request;
    waitUntil(
        [&] {
            for (const QJsonObject& each : requests()) {
                if (each.value(QStringLiteral("prompt")) == prompt)
                    request = each;
            }
            return !request.isEmpty();
        },
        seconds);
    return request;
}

void OvalinDesk::installScript(const QString& relative, const QByteArray& text) const {
    writeFile(path(relative), text);
    QFile::setPermissions(path(relative), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace ovalin
