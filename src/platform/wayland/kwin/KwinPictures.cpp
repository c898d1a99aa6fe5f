#include "KwinPictures.h"

#include "base/Log.h"
#include "base/PipeReader.h"
#include "base/children/Spawn.h"
#include "platform/dbus/BusAddress.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MOST_BYTES = 256 * 1024 * 1024; // a screen of 8k has 133

} // namespace

QImage KwinPictures::picture(const QString& window, std::chrono::milliseconds patience) {
    const Deadline deadline = deadlineIn(patience);
    const auto bus = link.connection(&sessionBusAddress, QDeadlineTimer(patience));
    auto pipe = makePipe();
    if (!bus || !pipe)
        return {};
    auto call = QDBusMessage::createMethodCall(u"org.kde.KWin"_s, u"/org/kde/KWin/ScreenShot2"_s,
                                               u"org.kde.KWin.ScreenShot2"_s, u"CaptureWindow"_s);
    call.setAutoStartService(false);
    const QVariantMap options{
        {u"include-cursor"_s, false}, {u"include-decoration"_s, false}, {u"native-resolution"_s, true}};
    call.setArguments({window, options, QVariant::fromValue(QDBusUnixFileDescriptor(pipe->write.get()))}); // a copy
    const QDBusMessage reply = bus->call(call, QDBus::Block, pollTimeout(deadline));
    call = {}; // both of our ends would keep the pipe open
    pipe->write.close();
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        logOnce(u"kwin-picture"_s, u"Ovalin: KWin takes no picture: %1"_s.arg(reply.errorMessage()));
        return {};
    }
    const auto bytes = readToEnd(pipe->read, deadline, MOST_BYTES);
    return bytes ? kwinPicture(qdbus_cast<QVariantMap>(reply.arguments().constFirst()), *bytes) : QImage();
}

QImage kwinPicture(const QVariantMap& described, const QByteArray& bytes) {
    constexpr QImage::Format KNOWN[] = {
        QImage::Format_RGB32,    QImage::Format_ARGB32,   QImage::Format_ARGB32_Premultiplied,
        QImage::Format_RGBX8888, QImage::Format_RGBA8888, QImage::Format_RGBA8888_Premultiplied};
    const auto number = [&](const QString& name) { return described.value(name).toLongLong(); };
    const qint64 width = number(u"width"_s), height = number(u"height"_s), stride = number(u"stride"_s);
    const auto* const format = std::ranges::find(KNOWN, number(u"format"_s), [](auto each) { return qint64{each}; });
    if (described.value(u"type"_s).toString() != u"raw" || format == std::end(KNOWN) || width < 1 || height < 1 ||
        width > 1 << 15 || height > 1 << 15 || stride < width * 4 || stride > 1 << 20 ||
        stride * height != bytes.size())
        return {};
    return QImage(reinterpret_cast<const uchar*>(bytes.constData()), static_cast<int>(width), static_cast<int>(height),
                  stride, *format)
        .copy();
}

} // namespace ovalin
