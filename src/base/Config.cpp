#include "Config.h"

#include "WholeFile.h"

#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qint64 MAX_SIZE = 1 << 20;
constexpr qsizetype MAX_COMPLAINTS = 20;

bool readSwitch(const QString& value, bool& field) {
    static const QStringList ON{u"on"_s, u"yes"_s, u"true"_s, u"1"_s}, OFF{u"off"_s, u"no"_s, u"false"_s, u"0"_s};
    const QString word = value.toLower();
    if (!ON.contains(word) && !OFF.contains(word))
        return false;
    field = ON.contains(word);
    return true;
}

bool readDays(Config& config, const QString& value) {
    bool isNumber = false;
    const int days = value.toInt(&isNumber);
    if (!isNumber || days < 0)
        return false;
    config.processedDays = days;
    return true;
}

bool readAppearance(Config& config, const QString& value) {
    static const QStringList NAMES{u"light"_s, u"dark"_s, u"contrast"_s, u"desktop"_s}; // as in the enumeration
    const qsizetype index = NAMES.indexOf(value.toLower());
    if (index >= 0)
        config.appearance = static_cast<Config::Appearance>(index);
    return index >= 0;
}

struct Key {
    const char* name;
    const char* expects;
    bool (*read)(Config&, const QString& value); ///< false: not a value of this key
};

bool readExclude(Config& config, const QString& value) {
    const qsizetype before = config.exclude.size();
    for (const QString& each : value.split(u',')) {
        if (const QString trimmed = each.trimmed(); !trimmed.isEmpty())
            config.exclude += trimmed;
    }
    return config.exclude.size() > before;
}

constexpr std::array KEYS{
    Key{"hotkey", "a key such as Alt+Space",
        [](Config& config, const QString& value) {
            config.hotkeys += value;
            config.hotkey = value;
            return true;
        }},
    Key{"exclude", "names or patterns", readExclude},
    Key{"processed_days", "a number of days", readDays},
    Key{"appearance", "light, dark, contrast or desktop", readAppearance},
    Key{"dictation_punctuation", "on or off",
        [](Config& config, const QString& value) { return readSwitch(value, config.punctuation); }},
    Key{"reduced_motion", "on or off",
        [](Config& config, const QString& value) { return readSwitch(value, config.reducedMotion); }},
};

/// What is wrong with the line; empty when it was taken.
QString readLine(Config& config, const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString line = QString(decoder.decode(bytes)).trimmed();
    if (decoder.hasError() || line.contains(QChar(u'\0')))
        return u"is no text"_s;
    if (line.isEmpty() || line.startsWith(u'#'))
        return {};
    const qsizetype sign = line.indexOf(u'=');
    if (sign < 0)
        return u"is not of the form key=value"_s;
    const QString name = line.left(sign).trimmed(), value = line.sliced(sign + 1).trimmed();
    const auto* const key =
        std::find_if(KEYS.begin(), KEYS.end(), [&](const Key& each) { return name == QLatin1String(each.name); });
    if (key == KEYS.end())
        return u"has the unknown key “%1”"_s.arg(name.left(30));
    if (value.isEmpty() || !key->read(config, value))
        return u"— %1 is %2"_s.arg(name, QString::fromLatin1(key->expects));
    return {};
}

} // namespace

QString configFolder(const QString& home) {
    const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME");
    return folder.startsWith(u'/') ? folder : home + u"/.config"_s;
}

QString configPath(const QString& home) { return configFolder(home) + u"/ovalin/config"_s; }

Config readConfig(const QString& path) {
    Config config;
    if (QFileInfo(path).size() > MAX_SIZE) {
        config.complaints += u"is too large to be read"_s;
        return config;
    }
    const auto file = readWholeFile(path);
    if (!file) {
        config.complaints += u"cannot be read — %1"_s.arg(shortReason(file.error()));
        return config;
    }
    QByteArray bytes = file->bytes;
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);
    qsizetype number = 0, more = 0;
    for (const QByteArray& line : bytes.split('\n')) {
        ++number;
        const QString wrong = readLine(config, line);
        if (wrong.isEmpty())
            continue;
        if (config.complaints.size() < MAX_COMPLAINTS)
            config.complaints += u"line %1 %2"_s.arg(number).arg(wrong);
        else
            ++more;
    }
    if (more > 0)
        config.complaints += u"%1 more lines say nothing that is known"_s.arg(more);
    return config;
}

} // namespace ovalin
