#include "e2e/OvalinDesk.h"
#include "platform/atspi/AtSpiBus.h"

namespace ovalin {

namespace {

const QString BINARY = QStringLiteral(OVALIN_BINARY);

TestDesk::Options withOddHome(TestDesk::Options options) {
    options.folderName = u"-it's a \"home\" "_s;
    return options;
}

void collectNames(const AtSpiQuery& query, const AtSpiRef& object, QSet<QString>& names, int depth = 0) {
    names.insert(query.name(query.beginName(object)));
    if (depth < 8) {
        for (const AtSpiRef& child : query.children(object))
            collectNames(query, child, names, depth + 1);
    }
}

} // namespace

OvalinDesk::OvalinDesk(const Options& options)
    : TestDesk(withOddHome(options)) {
    // The first opening's help card is a test of its own.
    writeFile(path(u".config/ovalin/ovalin.conf"_s),
              "[General]\novalinHowtoSeen=true\novalinAccessibilityOffered=true\n");
    installScript(u".claude/bin/capture-router.sh"_s, "#!/bin/sh\n");
    environment.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    environment.insert(u"IS_SANDBOX"_s, u"1"_s);
}

OvalinDesk::~OvalinDesk() {
    if (!program)
        return;
    end(*program);
    EXPECT_EQ(program->exitStatus(), QProcess::NormalExit) << log().toStdString();
    EXPECT_FALSE(log().contains(u"Sanitizer"_s) || log().contains(u"runtime error:"_s)) << log().toStdString();
}

void OvalinDesk::startOvalin(const QStringList& arguments) { startBinary(BINARY, arguments); }

void OvalinDesk::startOvalinWith(const QString& tool, const QByteArray& script) {
    const QDir built = QFileInfo(BINARY).dir();
    const QString place = path(u"copy"_s);
    QDir().mkpath(place + u"/libexec"_s);
    QFile::link(built.filePath(u"resources"_s), place + u"/resources"_s);
    for (const QString& name : QDir(built.filePath(u"libexec"_s)).entryList(QDir::Files)) {
        // The program finds its helpers beside itself, and a symbolic link would lead back to the real ones.
        if (name == u"ovalin-agent")
            QFile::copy(built.filePath(u"libexec/"_s + name), place + u"/libexec/"_s + name);
        else if (name != tool)
            QFile::link(built.filePath(u"libexec/"_s + name), place + u"/libexec/"_s + name);
    }
    if (!script.isEmpty())
        installScript(u"copy/libexec/"_s + tool, script);
    environment.insert(u"TOOLS"_s, built.filePath(u"libexec"_s));
    const QString copy = place + u"/ovalin"_s;
    if (!QFile::copy(BINARY, copy))
        throw std::runtime_error("cannot copy the program");
    startBinary(copy, {});
}

void OvalinDesk::startBinary(const QString& binary, const QStringList& arguments) {
    const QString ready = u"Ovalin ready"_s;
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
    const QString file = path(u"document.txt"_s);
    writeFile(file, text);
    start(u"mousepad"_s, {u"--disable-server"_s, file});
    const QString window = waitForWindow(u"mousepad"_s, 30);
    if (window.isEmpty())
        throw std::runtime_error("no editor: " + TestDesk::log(u"mousepad"_s).toStdString());
    xdotool({u"windowsize"_s, u"--sync"_s, window, u"700"_s, u"500"_s});
    xdotool({u"windowfocus"_s, u"--sync"_s, window});
    return window;
}

QString OvalinDesk::panelWindow() const {
    return xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Ovalin$"_s}).section(QLatin1Char('\n'), 0, 0);
}

void OvalinDesk::pressHotkey(const std::function<void()>& press) const {
    constexpr qint64 DEBOUNCE = 400; // ms; the program's own is 250
    waitUntil([this] { return !sinceHotkey.isValid() || sinceHotkey.hasExpired(DEBOUNCE); });
    press();
    sinceHotkey.start();
}

testing::AssertionResult OvalinDesk::opensPanel() const {
    pressHotkey();
    if (waitForPanel(true))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << log().toStdString();
}

bool OvalinDesk::waitForPanel(bool open, double seconds) const {
    return waitUntil([&] { return panelWindow().isEmpty() != open; }, seconds);
}

QSet<QString> OvalinDesk::accessibleNames() const {
    QSet<QString> names;
    AtSpiBus bus(environment.value(u"DBUS_SESSION_BUS_ADDRESS"_s));
    if (const auto query = bus.open(QDeadlineTimer(3000))) {
        if (const auto application = query->application(static_cast<qint32>(program->processId())))
            collectNames(*query, *application, names);
    }
    return names;
}

QRect OvalinDesk::frameOf(const QString& window) const {
    const QString shell = xdotool({u"getwindowgeometry"_s, u"--shell"_s, window}) + QLatin1Char('\n');
    const auto value = [&shell](const char* key) {
        return shell.section(QLatin1String(key) + QLatin1Char('='), 1).section(QLatin1Char('\n'), 0, 0).toInt();
    };
    return {value("\nX"), value("\nY"), value("\nWIDTH"), value("\nHEIGHT")};
}

bool OvalinDesk::hears(SoundServer& sound, const QString& words) const {
    const auto utterances = [this] { return log().count(u"Ovalin dictate: final=0 meta=1"_s); };
    const auto before = utterances();
    if (!sound.play(spoken(words, home())) || !waitUntil([&] { return utterances() > before; }))
        return false;
    // On a busy machine a gap in the playing can pass for the end of an utterance.
    for (QString heard; heard != log(); waitUntil([] { return false; }, 2))
        heard = log();
    return true;
}

void OvalinDesk::pressReplace() const {
    QString panel;
    waitUntil([&] { return !(panel = panelWindow()).isEmpty(); }); // a search fails over a window that just goes
    QSize size;
    QElapsedTimer steady; // it grows when it has found out what is in front
    waitUntil([&] {
        if (const QSize now = frameOf(panel).size(); now != size) {
            size = now;
            steady.start();
        }
        return steady.hasExpired(300);
    });
    xdotool({u"mousemove"_s, u"--window"_s, panel, QString::number(size.width() - 140),
             QString::number(size.height() - 32), u"click"_s, u"1"_s});
}

void OvalinDesk::keepPicture(const QString& name) const {
    const QString pictures = qEnvironmentVariable("OVALIN_TEST_PICTURES");
    if (!pictures.isEmpty())
        screenshot(QDir(pictures).filePath(name + u".png"_s));
}

std::vector<QJsonObject> OvalinDesk::requests() const {
    std::vector<QJsonObject> found;
    for (const char* subfolder : {"/capture-queue", "/capture-queue/processed"}) {
        const QDir queue(systemDir() + QString::fromLatin1(subfolder));
        for (const QString& file : queue.entryList({u"*.json"_s}, QDir::Files))
            found.push_back(readJson(queue.filePath(file)));
    }
    return found;
}

QJsonObject OvalinDesk::waitForRequest(const std::optional<QString>& prompt, double seconds) const {
    QJsonObject request;
    waitUntil(
        [&] {
            const auto found = requests();
            for (const QJsonObject& each : found) {
                if (prompt ? each.value(u"prompt"_s) == *prompt : found.size() == 1)
                    request = each;
            }
            return !request.isEmpty();
        },
        seconds);
    return request;
}

} // namespace ovalin
