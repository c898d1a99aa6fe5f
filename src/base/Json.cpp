#include "Json.h"

#include <QJsonDocument>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype SAFE_DIGITS = 15; // of an integer, which then is the same in every reader

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

/// The length of the number that begins there, by the grammar; 0: none does.
qsizetype numberLength(const QByteArray& json, qsizetype begin, bool& plain) {
    qsizetype at = begin;
    const auto letter = [&] { return at < json.size() ? json[at] : '\0'; };
    const auto digits = [&] {
        const qsizetype from = at;
        while (isDigit(letter()))
            ++at;
        return at - from;
    };
    plain = letter() != '-';
    if (!plain)
        ++at;
    const bool zero = letter() == '0';
    const qsizetype count = digits();
    if (count == 0 || (zero && count > 1))
        return 0;
    plain = plain && count <= SAFE_DIGITS;
    if (letter() == '.') {
        ++at;
        plain = false;
        if (digits() == 0)
            return 0;
    }
    if (letter() == 'e' || letter() == 'E') {
        ++at;
        plain = false;
        if (letter() == '+' || letter() == '-')
            ++at;
        if (digits() == 0)
            return 0;
    }
    return at - begin;
}

qsizetype endOfString(const QByteArray& json, qsizetype quote) {
    for (qsizetype at = quote + 1; at < json.size(); ++at) {
        if (json[at] == '\\')
            ++at;
        else if (json[at] == '"')
            return at + 1;
    }
    return json.size();
}

} // namespace

tl::expected<QJsonObject, QString> parseObject(const QByteArray& bytes) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (document.isObject())
        return document.object();
    return tl::unexpected(document.isNull() ? error.errorString() : u"not a JSON object"_s);
}

QByteArray prettyJson(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Indented); }

JsonNumbers::JsonNumbers(const QByteArray& json) {
    do {
        mark = "number-" + QByteArray::number(QRandomGenerator::global()->generate64(), 16) + ' ';
    } while (json.contains(mark));
    text.reserve(json.size());
    for (qsizetype at = 0; at < json.size();) {
        qsizetype next = at + 1;
        bool plain = true;
        if (json[at] == '"') {
            next = endOfString(json, at);
        } else if (json[at] == '-' || isDigit(json[at])) {
            const qsizetype length = numberLength(json, at, plain);
            plain = plain || length == 0;
            next = at + std::max<qsizetype>(length, 1);
        }
        if (!plain)
            text.append('"').append(mark);
        text.append(json.constData() + at, next - at);
        if (!plain)
            text.append('"');
        at = next;
    }
}

QByteArray JsonNumbers::restored(const QByteArray& json) const {
    const QByteArray begin = '"' + mark;
    QByteArray result;
    result.reserve(json.size());
    qsizetype at = 0;
    for (qsizetype found = 0; (found = json.indexOf(begin, at)) >= 0;) {
        const qsizetype number = found + begin.size();
        const qsizetype end = json.indexOf('"', number);
        result.append(json.constData() + at, found - at).append(json.constData() + number, end - number);
        at = end + 1;
    }
    return result.append(json.constData() + at, json.size() - at);
}

} // namespace ovalin
