#pragma once

#include <QString>

namespace ovalin {

/// Where the helper programs lie: libexec/ beside the binary in the build tree, ../libexec/ovalin under the install
/// prefix.
struct Tools {
    QString osascript;     ///< the script lines that the browser table and the router use
    QString screencapture; ///< -x -l N -tpng PATH, -x -m -tpng PATH
    QString ocr;           ///< PNG on standard input, text on standard output

    [[nodiscard]] static Tools under(const QString& folder);
    [[nodiscard]] static QString folderBeside(const QString& binaryFolder);
};

} // namespace ovalin
