#include "PaintedWindow.h"

#include "capture/WindowShot.h"
#include "platform/helpers/OcrProcess.h"
#include "platform/helpers/Tools.h"
#include "platform/x11/windows/X11Windows.h"
#include "support/TestDesk.h"

#include <QImage>
#include <QPainter>
#include <QWidget>

#include <QTcpServer>

namespace ovalin {

namespace {

const QColor PANEL(Qt::magenta);

QString tool() { return Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath())).screencapture; }

struct Shot {
    bool ended = false;
    int status = -1;
    QByteArray errors;
    QImage image;
};

/// Runs the tool, serving our own windows meanwhile unless they are to hang.
Shot shoot(const TestDesk& on, const QStringList& what, bool serveWindows = true) {
    QTemporaryDir folder;
    const QString path = folder.filePath(u"shot.png"_s);
    QProcess process;
    process.setProcessEnvironment(on.environment);
    process.start(tool(), QStringList{u"-x"_s} + what + QStringList{u"-tpng"_s, path});
    Shot shot;
    if (serveWindows)
        shot.ended = waitUntil([&] { return process.state() == QProcess::NotRunning; }, 20);
    else
        shot.ended = process.waitForFinished(20000);
    shot.status = process.exitCode();
    shot.errors = process.readAllStandardError();
    shot.image = QImage(path);
    // All or nothing, and nothing beside it.
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), shot.status == 0 ? 1 : 0);
    EXPECT_EQ(shot.image.isNull(), shot.status != 0) << shot.errors.toStdString();
    return shot;
}

Shot shootWindow(const TestDesk& on, const QString& number, bool serveWindows = true) {
    return shoot(on, {u"-l"_s, number}, serveWindows);
}

bool alike(const QColor& a, const QColor& b) {
    return qAbs(a.red() - b.red()) <= 2 && qAbs(a.green() - b.green()) <= 2 && qAbs(a.blue() - b.blue()) <= 2;
}

int pixelsOf(const QColor& color, const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += alike(image.pixelColor(x, y), color) ? 1 : 0;
    }
    return count;
}

void expectStripes(const PaintedWindow& window, const QImage& image, QPoint offset = {}) {
    for (size_t stripe = 0; stripe < window.stripes(); ++stripe) {
        for (const int y : {1, 150, 298}) {
            const QPoint at = window.inStripe(stripe, y) + offset;
            EXPECT_TRUE(alike(image.pixelColor(at), window.shown(stripe)))
                << "stripe " << stripe << " at " << at.x() << "," << at.y() << ": "
                << image.pixelColor(at).name().toStdString() << ", not " << window.shown(stripe).name().toStdString();
        }
    }
}

PaintedWindow::Options panelOver(const QByteArray& display, const QRect& frame) {
    PaintedWindow::Options options;
    options.display = display;
    options.frame = frame;
    options.stripes = {PANEL};
    options.windowClass = "ovalin";
    return options;
}

PaintedWindow::Options paintedOn(const TestDesk& on) {
    PaintedWindow::Options options;
    options.display = on.display().toLatin1();
    return options;
}

struct DeskKind {
    const char* screen;
    bool compositor = false;
    bool argb = false;
    int border = 0;
    QRect frame = QRect(100, 80, 400, 300);
    bool coveredIsBlack = false; ///< the server has no Composite
    QStringList serverArguments = {};

    friend void PrintTo(const DeskKind& kind, std::ostream* out) {
        *out << kind.screen << (kind.compositor ? " compositor" : "") << (kind.argb ? " argb" : "");
    }
};

class OnDesk : public testing::TestWithParam<DeskKind> {
protected:
    OnDesk()
        : kind(GetParam())
        , bare({TestDesk::WindowManager::None, false, QString::fromLatin1(kind.screen), kind.serverArguments})
        , display(bare.display().toLatin1()) {
        if (kind.compositor) {
            bare.start(u"picom"_s, {u"--backend"_s, u"xrender"_s, u"--config"_s, u"/dev/null"_s, u"--shadow"_s});
            EXPECT_TRUE(waitUntil([this] { // it names its window after it took the screen over
                return !bare.output(u"xdotool"_s, {u"search"_s, u"--class"_s, u"picom"_s}).isEmpty();
            }));
        }
    }

    PaintedWindow::Options painted() const {
        auto options = paintedOn(bare);
        options.frame = kind.frame;
        options.argb = kind.argb;
        options.borderWidth = kind.border;
        return options;
    }

    DeskKind kind;
    TestDesk bare;
    QByteArray display;
};

TEST_P(OnDesk, WindowAndMainDisplayArePicturedWithoutOurOwnWindows) {
    const PaintedWindow window(painted());
    const bool whole = QRect(0, 0, 1280, 800).contains(kind.frame);
    if (whole)
        expectStripes(window, shootWindow(bare, window.number()).image);
    const Shot plain = shoot(bare, {u"-m"_s});

    const PaintedWindow panel(panelOver(display, {150, 60, 250, 200}));
    const Shot covered = shootWindow(bare, window.number());
    EXPECT_EQ(covered.image.size(), kind.frame.size());
    EXPECT_EQ(pixelsOf(panel.shown(0), covered.image), 0);
    if (!kind.coveredIsBlack)
        expectStripes(window, covered.image);

    const Shot shot = shoot(bare, {u"-m"_s});
    EXPECT_EQ(shot.image.size(), QSize(1280, 800));
    EXPECT_EQ(pixelsOf(panel.shown(0), shot.image), 0);
    if (!kind.coveredIsBlack && whole) {
        const QPoint inside(kind.frame.topLeft() + QPoint(kind.border, kind.border));
        expectStripes(window, plain.image, inside);
        expectStripes(window, shot.image, inside);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Screens, OnDesk,
    testing::Values(DeskKind{"1280x800x24"}, DeskKind{"1280x800x24", true}, DeskKind{"1280x800x24", true, true},
                    DeskKind{.screen = "1280x800x24", .argb = true}, DeskKind{.screen = "1280x800x24", .border = 3},
                    DeskKind{.screen = "1280x800x24", .frame = {-120, 80, 400, 300}}, DeskKind{"1280x800x16"},
                    DeskKind{"1280x800x16", true}, DeskKind{"1280x800x15"}, DeskKind{"1280x800x30"},
                    DeskKind{.screen = "1280x800x8", .coveredIsBlack = true},
                    DeskKind{.screen = "1280x800x24", .serverArguments = {u"-extension"_s, u"MIT-SHM"_s}}));

/// Paints its own content on request, as applications do.
class Document final : public QWidget {
public:
    Document() {
        setAttribute(Qt::WA_OpaquePaintEvent);
        setWindowFlag(Qt::X11BypassWindowManagerHint);
        setGeometry(200, 150, 600, 400);
        show();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(20, 120, 220));
    }
};

QString numberOf(const QWidget& widget) { return QString::number(widget.winId()); }

TEST(ScreenCapture, AnApplicationPaintsWhatWasCoveredOrLeavesAHoleAndNotThePanel) {
    const Document document;
    ASSERT_TRUE(
        waitUntil([&] { return pixelsOf(QColor(20, 120, 220), shootWindow(desk(), numberOf(document)).image) > 0; }));
    const PaintedWindow panel(panelOver(desk().display().toLatin1(), {250, 200, 300, 200}));
    const Shot shot = shootWindow(desk(), numberOf(document));
    EXPECT_EQ(pixelsOf(QColor(20, 120, 220), shot.image), 600 * 400);
    const Shot hanging = shootWindow(desk(), numberOf(document), false);
    EXPECT_EQ(pixelsOf(panel.shown(0), hanging.image), 0);
    EXPECT_GE(pixelsOf(QColor(20, 120, 220), hanging.image), 600 * 400 - 300 * 200);
}

TEST(ScreenCapture, WhatHasNoPictureEndsWithAMessageAndNoFile) {
    auto options = paintedOn(desk());
    options.map = false;
    const PaintedWindow unmapped(options);
    options.map = true;
    options.inputOnly = true;
    const PaintedWindow inputOnly(options);
    options.inputOnly = false;
    options.stripes = {Qt::red};
    options.frame = {0, 0, 1, 1};
    const PaintedWindow tiny(options);
    options.frame = {0, 0, 32000, 32000};
    const PaintedWindow huge(options);
    const QString root = QString::number(
        desk()
            .output(u"sh"_s, {u"-c"_s, u"xwininfo -root | sed -n 's/.*id: \\(0x[0-9a-f]*\\).*/\\1/p'"_s})
            .toUInt(nullptr, 0));

    const std::vector<std::pair<QString, const char*>> rows{
        {u"123456789"_s, "no such window"},
        {u"0"_s, "no window"},
        {u"xyz"_s, "no window"},
        {root, "no such window"},
        {unmapped.number(), "not on the screen"},
        {inputOnly.number(), "InputOnly"},
        {tiny.number(), "no size"},
        {huge.number(), "too large"},
    };
    for (const auto& [number, message] : rows) {
        const Shot shot = shootWindow(desk(), number);
        EXPECT_TRUE(shot.ended);
        EXPECT_EQ(shot.status, 1) << number.toStdString();
        EXPECT_TRUE(shot.errors.contains(message)) << shot.errors.toStdString();
    }
    EXPECT_EQ(shoot(desk(), {}).status, 1);
    EXPECT_EQ(shoot(desk(), {u"-m"_s, u"-l"_s, u"5"_s}).status, 1);
}

TEST(ScreenCapture, AWindowLargerThanTheScreenIsPicturedWhole) {
    const TestDesk bare({TestDesk::WindowManager::None, false, u"1280x800x24"_s, {}});
    auto options = paintedOn(bare);
    options.frame = {0, 0, 3840, 2160};
    const PaintedWindow window(options);
    const Shot shot = shootWindow(bare, window.number());
    ASSERT_EQ(shot.image.size(), QSize(3840, 2160)) << shot.errors.toStdString();
    EXPECT_EQ(shot.image.pixelColor(window.inStripe(5, 2100)), window.shown(5));
}

TEST(ScreenCapture, AWindowThatClosesMeanwhileGivesAWholePictureOrNone) {
    for (int round = 0; round < 12; ++round) {
        const auto panel = std::make_unique<PaintedWindow>(panelOver(desk().display().toLatin1(), {150, 60, 250, 200}));
        auto window = std::make_unique<PaintedWindow>(paintedOn(desk()));
        panel->raise();
        QTemporaryDir folder;
        const QString path = folder.filePath(u"shot.png"_s);
        QProcess process;
        process.setProcessEnvironment(desk().environment);
        process.start(tool(), {u"-x"_s, u"-l"_s, window->number(), u"-tpng"_s, path});
        process.waitForFinished(round * 8); // not a wait for something: the moment of the loss is what varies
        window.reset();
        ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(QImage(path).isNull(), process.exitCode() != 0) << process.readAllStandardError().toStdString();
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), process.exitCode() == 0 ? 1 : 0);
    }
}

TEST(ScreenCapture, AnXServerThatNeverAnswersIsGivenUp) {
    QTemporaryDir folder;
    QTcpServer mute; // the kernel takes the call, and nobody answers
    ASSERT_TRUE(mute.listen(QHostAddress::LocalHost));
    QProcess process;
    auto environment = desk().environment;
    environment.insert(u"DISPLAY"_s, u"127.0.0.1:%1"_s.arg(mute.serverPort() - 6000));
    process.setProcessEnvironment(environment);
    process.start(tool(), {u"-x"_s, u"-m"_s, u"-tpng"_s, folder.filePath(u"shot.png"_s)});
    EXPECT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }, 30));
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_EQ(process.readAllStandardError(), "screencapture: the X server took too long\n");
}

} // namespace

} // namespace ovalin
