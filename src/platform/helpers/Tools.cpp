#include "Tools.h"

#include <QDir>
#include <QFileInfo>

namespace ovalin {

using namespace Qt::StringLiterals;

Tools Tools::under(const QString& folder) {
    const QDir dir(folder);
    return {dir.filePath(u"osascript"_s), dir.filePath(u"screencapture"_s), dir.filePath(u"ocr"_s)};
}

QString Tools::folderBeside(const QString& binaryFolder) {
    const QDir dir(binaryFolder);
    const QString built = dir.absoluteFilePath(u"libexec"_s);
    return QFileInfo(built).isDir() ? built : QDir::cleanPath(dir.absoluteFilePath(u"../libexec/ovalin"_s));
}

} // namespace ovalin
