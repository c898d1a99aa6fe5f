#include "platform/helpers/Tools.h"
#include "support/TestDesk.h"

#include <QImage>

namespace ovalin {

// What a picture, a window or an application could make a helper do, had it taken it over.
TEST(Confinement, AHelperDoesItsWorkAndNothingElse) {
    const TestDesk on({TestDesk::WindowManager::None, true, u"800x600x24"_s, {}});
    const Tools tools = Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath()));
    const QString page = QStringLiteral(R"(tell application "Chromium" to return (URL of active tab of front window) )"
                                        R"(& "\n" & (title of active tab of front window))");
    const QString picture = on.path(u"picture.png"_s), shot = on.path(u"shot.png"_s);
    QImage white(200, 100, QImage::Format_RGB32);
    white.fill(Qt::white);
    ASSERT_TRUE(white.save(picture));
    const struct {
        QString program;
        QStringList arguments;
        int status;
        QString let;
    } rows[] = {
        {tools.ocr, {}, 0, {}},
        {tools.screencapture, {u"-x"_s, u"-m"_s, u"-tpng"_s, shot}, 0, u" writes"_s},
        {tools.osascript, {u"-e"_s, page}, 1, {}}, // no such browser runs here
    };
    for (const auto& row : rows) {
        QProcess process;
        QProcessEnvironment environment = on.environment;
        environment.insert(u"LD_PRELOAD"_s, QStringLiteral(STRAYING));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(on.home());
        process.setStandardInputFile(picture);
        process.start(row.program, row.arguments);
        EXPECT_TRUE(process.waitForFinished(20'000));
        const QString errors = QString::fromUtf8(process.readAllStandardError());
        EXPECT_TRUE(errors.endsWith(u"strayed:"_s + row.let + u'\n')) << errors.toStdString();
        EXPECT_EQ(process.readAllStandardOutput(), QByteArray()) << row.program.toStdString();
        EXPECT_EQ(process.exitCode(), row.status) << errors.toStdString();
    }
    EXPECT_FALSE(QImage(shot).isNull());
}

} // namespace ovalin
