#include "Brand.h"

#include <QFontDatabase>
#include <QStringList>

#include <array>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

struct Face {
    const char* file;
    QString family; // empty: not registered
};

enum { Light, Regular, Medium, Signature };
std::array<Face, 4> faces{
    {{"DMSans-Light", {}}, {"DMSans-Regular", {}}, {"DMSans-Medium", {}}, {"JosefinSans-Medium", {}}}};

QFont made(const Face& face, qreal size, QFont::Weight weight) {
    QFont font(face.family);
    if (face.family.isEmpty()) {
        font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
        font.setWeight(weight);
    }
    // Only a point size may have a fraction; the program runs at Qt's fixed 96 dots per inch.
    font.setPointSizeF(size * 72.0 / 96.0);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

} // namespace

void Brand::registerFonts(const QString& resources) {
    if (resources.isEmpty())
        return;
    for (Face& face : faces) {
        const int id =
            QFontDatabase::addApplicationFont(resources + u"/Fonts/"_s + QString::fromLatin1(face.file) + u".ttf"_s);
        // "DM Sans Light" rather than "DM Sans": a weight that is asked for is asked of the fonts that stand in for
        // what ours do not have, too, and the light ones of many families have no Hebrew and tear Arabic apart.
        const QStringList families = id < 0 ? QStringList() : QFontDatabase::applicationFontFamilies(id);
        face.family = families.isEmpty() ? QString() : families.last();
    }
}

QFont Brand::font(qreal size, QFont::Weight weight) {
    switch (weight) {
    case QFont::Medium:
        return made(faces[Medium], size, weight);
    case QFont::Normal:
        return made(faces[Regular], size, weight);
    default:
        return made(faces[Light], size, QFont::Light);
    }
}

QFont Brand::signature(qreal size) { return made(faces[Signature], size, QFont::Medium); }

} // namespace ovalin
