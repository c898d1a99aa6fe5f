#include "capture/WindowShot.h"
#include "fakes/FakeDesktop.h"
#include "platform/helpers/OcrProcess.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>

namespace ovalin {

namespace {

Tools builtTools() { return Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath())); }

struct FakeRecognizer final : TextRecognizer {
    std::optional<QString> answer;
    std::optional<QString> recognize(const QByteArray&) override { return answer; }
};

QByteArray pngOf(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

QImage plain(int width, int height, const QColor& color = Qt::darkCyan) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

TEST(FrontWindow, TheLargestOrdinaryWindowOfTheApplicationIsTaken) {
    const auto window = [](quint64 id, qint32 pid, int layer, int width, int height) {
        return WindowInfo{{id}, pid, layer, QRect(10, 10, width, height)};
    };
    struct Row {
        const char* name;
        qint32 pid;
        std::vector<WindowInfo> windows;
        std::optional<WindowId> chosen;
    };
    const std::vector<Row> rows{
        {"nothing on the screen", 7, {}, {}},
        {"no application", 0, {window(1, 0, 0, 500, 500)}, {}},
        {"a negative pid", -1, {window(1, -1, 0, 500, 500)}, {}},
        {"a document behind its palette", 7, {window(1, 7, 0, 120, 100), window(2, 7, 0, 900, 700)}, WindowId{2}},
        {"windows of others", 7, {window(1, 8, 0, 900, 700), window(2, 7, 0, 300, 300)}, WindowId{2}},
        {"equals: the frontmost", 7, {window(1, 7, 0, 300, 200), window(2, 7, 0, 200, 300)}, WindowId{1}},
        {"other layers", 7, {window(1, 7, 101, 900, 700), window(2, 7, -1, 1280, 800)}, {}},
        {"exactly the limit", 7, {window(1, 7, 0, 100, 100)}, {}},
        {"just above the limit", 7, {window(1, 7, 0, 10001, 1)}, WindowId{1}},
        {"an area beyond 31 bits", 7, {window(1, 7, 0, 65535, 65535), window(2, 7, 0, 900, 700)}, WindowId{1}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(frontWindowID(row.windows, row.pid), row.chosen) << row.name;
}

class Shots : public testing::Test {
protected:
    Shots() { qputenv("TMPDIR", temporary.path().toUtf8()); }
    ~Shots() override { qunsetenv("TMPDIR"); }

    QString write(const QByteArray& bytes) const {
        const QString path = other.filePath(u"picture.png"_s);
        writeFile(path, bytes);
        return path;
    }

    /// A shell script in the place of a helper program.
    QString script(const QByteArray& lines) const {
        return writeProgram(other.filePath(u"script"_s), "#!/bin/sh\n" + lines + "\n");
    }

    std::optional<QByteArray> captureWith(const QString& program, qint32 pid = 7, const QStringList& exclude = {}) {
        Tools tools;
        tools.screencapture = program;
        return WindowShots(windows, recognizer, tools, 300ms, exclude).captureWindowPNG(pid);
    }

    QStringList leftBehind() const {
        return QDir(temporary.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    }

    QTemporaryDir temporary;
    QTemporaryDir other;
    FakeWindows windows;
    FakeRecognizer recognizer;
};

TEST_F(Shots, APictureIsAtMostAsWideAsAllowedAndAlwaysEncodedAnew) {
    struct Row {
        QSize size, expected;
    };
    for (const Row& row : {Row{{2880, 1800}, {1400, 875}}, Row{{1000, 700}, {1000, 700}}, Row{{1400, 3}, {1400, 3}},
                           Row{{1401, 999}, {1400, 998}}, Row{{3840, 2160}, {1400, 787}}}) {
        const auto png = downscalePNG(write(pngOf(plain(row.size.width(), row.size.height()))), SHOT_MAX_WIDTH);
        ASSERT_TRUE(png);
        const QImage image = QImage::fromData(*png, "PNG");
        EXPECT_EQ(image.size(), row.expected);
        EXPECT_EQ(png->at(24), 8);                                                                // bits a channel
        EXPECT_EQ(png->at(25), 6);                                                                // RGB with alpha
        EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() / 2), QColor(Qt::darkCyan)); // nothing bled in
    }
}

TEST_F(Shots, ColoursOfAnotherSpaceBecomeStandardOnes) {
    QImage image = plain(64, 64, QColor(255, 0, 0));
    image.setColorSpace(QColorSpace::SRgb);
    const QImage wide = image.convertedToColorSpace(QColorSpace::DisplayP3);
    ASSERT_NE(wide.pixelColor(5, 5).red(), 255);
    const auto png = downscalePNG(write(pngOf(wide)), SHOT_MAX_WIDTH);
    ASSERT_TRUE(png);
    EXPECT_NEAR(QImage::fromData(*png).pixelColor(5, 5).red(), 255, 1);
}

TEST_F(Shots, WhatIsNoWholePictureGivesNone) {
    QImage noisy = plain(600, 400);
    for (int i = 0; i < 600 * 400; ++i)
        noisy.setPixel(i % 600, i / 600, static_cast<uint>(i) * 2654435761U);
    const QByteArray whole = pngOf(noisy);
    QByteArray absurd = whole;
    absurd.replace(16, 8, QByteArray::fromHex("0000ea600000ea60")); // 60000 x 60000
    const std::vector<std::pair<const char*, QByteArray>> rows{
        {"empty", {}},
        {"no PNG", "GIF89a, or not even that"},
        {"only the signature", whole.left(8)},
        {"half", whole.left(whole.size() / 2)},
        {"all but the last rows", whole.left(whole.size() - 2000)},
        {"absurd sides", absurd},
        {"no height after scaling", pngOf(plain(5000, 1))},
    };
    for (const auto& [name, bytes] : rows)
        EXPECT_FALSE(downscalePNG(write(bytes), SHOT_MAX_WIDTH)) << name;

    const QString link = other.filePath(u"link.png"_s);
    ASSERT_TRUE(QFile::link(write(whole), link));
    EXPECT_FALSE(downscalePNG(link, SHOT_MAX_WIDTH));
    EXPECT_FALSE(downscalePNG(other.path(), SHOT_MAX_WIDTH));
    EXPECT_FALSE(downscalePNG(other.filePath(u"missing.png"_s), SHOT_MAX_WIDTH));
}

TEST_F(Shots, TheToolIsAskedForTheWindowOrElseForTheMainDisplay) {
    const QString picture = write(pngOf(plain(300, 200)));
    const QString seen = other.filePath(u"seen"_s);
    const QString program = script("echo \"$@\" > '" + seen.toUtf8() + "'\nfor path; do :; done\ncp '" +
                                   picture.toUtf8() + "' \"$path\"; exit 3");
    windows.list = {{{41943043}, 7, 0, QRect(0, 0, 800, 600)}};
    const QString file = temporary.path() + u"/ovalin-shot-[0-9]{13}\\.png\n"_s;
    for (const auto& [pid, start] : std::vector<std::pair<qint32, QString>>{
             {7, u"-x -l 41943043 -tpng "_s}, {8, u"-x -m -tpng "_s}, {0, u"-x -m -tpng "_s}}) {
        EXPECT_TRUE(captureWith(program, pid)); // the exit status says nothing
        const QString arguments = QString::fromUtf8(readFile(seen));
        EXPECT_TRUE(QRegularExpression(QRegularExpression::anchoredPattern(QRegularExpression::escape(start) + file))
                        .match(arguments)
                        .hasMatch())
            << arguments.toStdString();
        EXPECT_EQ(leftBehind(), QStringList());
    }
}

TEST_F(Shots, NoPictureShowsAWindowThatIsLeftAlone) {
    const QString program =
        script("for path; do :; done\ncp '" + write(pngOf(plain(300, 200))).toUtf8() + "' \"$path\"");
    const struct {
        const char* what;
        qint32 pid;
        QStringList exclude;
        QString nextTitle;
        bool pictured;
    } rows[] = {
        {"beside a password manager", 7, {}, {}, true},
        {"the display with it", 8, {}, {}, false},
        {"another window is excluded", 7, {u"*bank*"_s}, {}, true},
        {"this window is", 7, {u"mail*"_s}, {}, false},
        {"it shows another page before the picture is there", 7, {u"*bank*"_s}, u"My Bank"_s, false},
    };
    for (const auto& row : rows) {
        const QRect frame(0, 0, 800, 600);
        windows.list = {{{1}, 7, 0, frame, u"firefox"_s, u"Mail"_s}, {{2}, 9, 0, frame, u"KeePassXC"_s, u"My Bank"_s}};
        windows.nextTitle = row.nextTitle;
        EXPECT_EQ(captureWith(program, row.pid, row.exclude).has_value(), row.pictured) << row.what;
    }
}

TEST_F(Shots, AToolThatFailsGivesNoPictureAndLeavesNothing) {
    const QByteArray half = pngOf(plain(300, 200)).left(60);
    const QByteArray toPath = "for path; do :; done\n";
    const QByteArray halfFile = write(half).toUtf8();
    const std::vector<std::pair<const char*, QString>> rows{
        {"missing", other.filePath(u"none"_s)},
        {"writes nothing", u"/bin/false"_s},
        {"not executable", QString::fromUtf8(halfFile)},
    };
    for (const auto& [name, program] : rows)
        EXPECT_FALSE(captureWith(program)) << name;
    EXPECT_FALSE(captureWith(script(toPath + "cp '" + halfFile + "' \"$path\""))) << "half a picture";
    EXPECT_FALSE(captureWith(script(toPath + "cp '" + halfFile + "' \"$path.Zz81xq\"; kill -9 $$"))) << "killed";
    EXPECT_FALSE(captureWith(script("trap '' TERM; sleep 600"))) << "hangs";
    EXPECT_FALSE(captureWith(script(toPath + "rm \"$path\"; ln -s /etc/passwd \"$path\""))) << "a link";
    EXPECT_EQ(leftBehind(), QStringList());
    qputenv("TMPDIR", other.filePath(u"gone"_s).toUtf8());
    EXPECT_FALSE(captureWith(u"/bin/true"_s)) << "no temporary folder";
}

TEST_F(Shots, LinksPlantedInTheTemporaryFolderAreNotFollowed) {
    const QString victim = other.filePath(u"victim"_s);
    writeFile(victim, "precious");
    const QByteArray target = victim.toLocal8Bit();
    const QByteArray folder = temporary.path().toLocal8Bit() + "/ovalin-shot-";
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (qint64 time = now; time < now + 3000; ++time)
        ASSERT_EQ(::symlink(target.constData(), (folder + QByteArray::number(time) + ".png").constData()), 0);
    EXPECT_FALSE(captureWith(script("for path; do :; done\necho overwritten > \"$path\"")));
    EXPECT_EQ(readFile(victim), "precious");
}

TEST_F(Shots, RecognisedTextIsTrimmedAndAbsentWhenThereIsNone) {
    const std::vector<std::pair<std::optional<QString>, std::optional<QString>>> rows{
        {std::nullopt, std::nullopt},
        {QString(), std::nullopt},
        {u" \n\t\n"_s, std::nullopt},
        {u"\n one\ntwo \n\n"_s, u"one\ntwo"_s},
    };
    for (const auto& [recognised, text] : rows) {
        recognizer.answer = recognised;
        EXPECT_EQ(WindowShots(windows, recognizer, {}).ocrText("png"), text);
    }
}

const char* const PROSE[] = {
    "Release notes for version 4.2 of the billing service",
    "The nightly job now closes invoices older than 30 days and sends a summary",
    "to accounting@example.org. Customers with more than one contract receive a",
    "single letter; the amounts (net, VAT 19 %, gross) are listed one by one.",
    "Known problems: exports larger than 250 MB are cut off, see ticket #8841.",
    "Please restart the worker after changing \"retries\" or \"timeout\" in the settings.",
    "Next meeting: Thursday, 14:30, room B-207. Bring the figures for the quarter.",
};

QImage textPage(const QColor& ink, const QColor& paper, int points) {
    QImage page(1400, 420, QImage::Format_RGB32);
    page.fill(paper);
    QPainter painter(&page);
    painter.setPen(ink);
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(points * 96 / 72);
    painter.setFont(font);
    int y = 50;
    for (const char* line : PROSE) {
        painter.drawText(30, y, QString::fromUtf8(line));
        y += 50;
    }
    return page;
}

/// The share of the words of PROSE that were read, each in its line.
double readShare(const QString& text) {
    const QStringList lines = text.split(u'\n');
    qsizetype words = 0, read = 0;
    for (size_t i = 0; i < std::size(PROSE); ++i) {
        const QStringList expected = QString::fromUtf8(PROSE[i]).split(u' ');
        QStringList found = lines.value(static_cast<qsizetype>(i)).split(u' ');
        words += expected.size();
        read += std::ranges::count_if(expected, [&](const QString& word) { return found.removeOne(word); });
    }
    return static_cast<double>(read) / static_cast<double>(words);
}

TEST_F(Shots, TextOnTheScreenIsReadLineByLine) {
    OcrProcess ocr(builtTools().ocr, 1min);
    const WindowShots shots(windows, ocr, builtTools());
    for (const auto& page :
         {textPage(Qt::black, Qt::white, 12), textPage(QColor(210, 210, 210), QColor(30, 30, 40), 10)}) {
        const auto text = shots.ocrText(pngOf(page));
        ASSERT_TRUE(text);
        EXPECT_GT(readShare(*text), 0.95) << text->toStdString();
    }
}

TEST_F(Shots, APictureWithoutTextHasNone) {
    OcrProcess ocr(builtTools().ocr);
    const WindowShots shots(windows, ocr, builtTools());
    QImage transparent(300, 200, QImage::Format_ARGB32);
    transparent.fill(Qt::transparent);
    for (const QImage& image :
         {plain(800, 600, Qt::white), plain(800, 600, Qt::black), transparent, plain(1, 1), plain(3, 700)})
        EXPECT_FALSE(shots.ocrText(pngOf(image)));
    QByteArray absurd = pngOf(plain(300, 200));
    absurd.replace(16, 8, QByteArray::fromHex("0000ea600000ea60"));
    for (const QByteArray& bytes : {QByteArray(), "no picture"_ba, pngOf(plain(300, 200)).left(70), absurd})
        EXPECT_FALSE(shots.ocrText(bytes)) << "no picture at all";
}

TEST_F(Shots, ARecogniserThatFailsCostsOnlyTheTextAndSaysWhyOnce) {
    LogRecorder log;
    const QByteArray png = pngOf(plain(300, 200));
    const QString pidFile = other.filePath(u"pid"_s);
    const auto fails = [&](const QString& program, const QString& why) {
        log.lines.clear();
        OcrProcess ocr(program, 300ms);
        EXPECT_FALSE(ocr.recognize(png)) << why.toStdString();
        EXPECT_FALSE(ocr.recognize(png));
        EXPECT_EQ(log.lines.size(), 1) << why.toStdString();
        EXPECT_EQ(log.count(why), 1) << log.all();
    };
    fails(other.filePath(u"none"_s), u"none"_s);
    fails(script("cat > /dev/null; echo half a; kill -ABRT $$"), u"signal 6"_s);
    fails(script("exit 1"), u"exit status 1"_s); // before it read the picture
    fails(script("yes"), u"too much"_s);
    // Its children go with it, and not even SIGTERM has to be heeded.
    fails(script("trap '' TERM; sleep 600 & echo $! > '" + pidFile.toUtf8() + "'; wait; sleep 600"), u"too long"_s);
    EXPECT_TRUE(ends(readFile(pidFile).trimmed().toInt()));
}

} // namespace

} // namespace ovalin
