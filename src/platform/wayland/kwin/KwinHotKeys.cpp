#include "KwinHotKeys.h"

#include "GlobalAccelClient.h"

#include <QKeySequence>

#include <chrono>
#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

int qtKey(const KeyChord& chord) {
    QString name = chord.name();
    name.replace(u"Super+"_s, u"Meta+"_s).replace(u"Prior"_s, u"PgUp"_s).replace(u"Next"_s, u"PgDown"_s);
    const QKeySequence sequence(name.remove(u'_'), QKeySequence::PortableText);
    return sequence.count() == 1 && sequence[0].key() != Qt::Key_unknown ? sequence[0].toCombined() : 0;
}

KwinHotKeys::KwinHotKeys(const KeyChord& chord, const QString& busAddress)
    : key(qtKey(chord))
    , client(new GlobalAccelClient(busAddress))
    , thread(client) {
    QObject::connect(client, &GlobalAccelClient::became, &context, [this](HotKeyState now) {
        if (std::exchange(state, now) != now && shouldReassert)
            shouldReassert();
    });
    QObject::connect(client, &GlobalAccelClient::pressed, &context, [this] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        if (pressed)
            pressed(static_cast<quint32>(std::chrono::floor<std::chrono::milliseconds>(now).count()));
    });
}

HotKeyState KwinHotKeys::registerHotKey() {
    QMetaObject::invokeMethod(client, [client = client, key = key] { client->bind(key); });
    return state;
}

void KwinHotKeys::unregisterHotKey() { QMetaObject::invokeMethod(client, &GlobalAccelClient::unbind); }

} // namespace ovalin
