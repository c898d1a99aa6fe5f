#pragma once

#include <QAbstractNativeEventFilter>

#include <array>

namespace ovalin {

/// Remembers the presses of mouse buttons that our own windows were given, by the server's time of each. A window that
/// is closed by a press may be gone before anybody can ask where that press went. Main thread.
class OwnPresses final : public QAbstractNativeEventFilter {
public:
    OwnPresses();
    ~OwnPresses() override;

    [[nodiscard]] bool includes(quint32 time) const;

private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

    int inputExtension = 0; ///< its opcode; 0: there is none
    std::array<quint32, 8> times{};
    size_t next = 0;
};

} // namespace ovalin
