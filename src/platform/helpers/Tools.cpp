#include "Tools.h"

#include <QDir>
#include <QFileInfo>

namespace ovalin {

Tools Tools::under(const QString& folder) {
    const QDir dir(folder);
    return {dir.filePath(QStringLiteral("osascript")), dir.filePath(QStringLiteral("screencapture")),
            dir.filePath(QStringLiteral("ocr"))};
}

QString Tools::folderBeside(const QString& binaryFolder) {
    const QDir dir(binaryFolder);
    const QString built = dir.absoluteFilePath(QStringLiteral("libexec"));
    return QFileInfo(built).isDir() ? built
                                    : QDir::cleanPath(dir.absoluteFilePath(QStringLiteral("../libexec/ovalin")));
}

} // namespace ovalin
