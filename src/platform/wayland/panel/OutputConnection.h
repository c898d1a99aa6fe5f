#pragma once

#include "Owned.h"

#include "base/EventThread.h"

#include <QSize>
#include <QString>

#include <functional>
#include <vector>

struct wp_viewporter;
struct zwlr_layer_shell_v1;
struct zwlr_screencopy_manager_v1;

namespace ovalin {

/// A connection of our own to the compositor, for questions that are answered before the program goes on: what comes on
/// it goes to nobody else, and what comes for Qt's windows waits meanwhile. Main thread.
class OutputConnection {
public:
    OutputConnection();
    ~OutputConnection();
    OutputConnection(const OutputConnection&) = delete;
    OutputConnection& operator=(const OutputConnection&) = delete;

    struct Output {
        uint32_t global = 0;
        wl_output* proxy = nullptr;
        QString name; ///< as QScreen has it
        int32_t transform = 0;
    };
    struct Seat {
        uint32_t global = 0;
        wl_seat* proxy = nullptr;
        bool hasPointer = false;
    };

    /// Takes in what has come unasked: outputs and seats come and go.
    void refresh();
    /// Sends what has been asked for. Whoever does not wait for an answer needs it.
    void flush() const;
    /// Sends, and reads until it is done. False: it was not until then, or the compositor is gone.
    bool waitUntil(Deadline deadline, const std::function<bool()>& done);

    /// Becomes true when the compositor has worked off all that was asked before.
    [[nodiscard]] Owned<wl_callback> mark(bool& reached) const;

    [[nodiscard]] const std::vector<Output>& outputs() const { return knownOutputs; }
    [[nodiscard]] const std::vector<Seat>& seats() const { return knownSeats; }
    // Null: there is none.
    wl_compositor* compositor = nullptr;
    wl_shm* shm = nullptr;
    wp_viewporter* viewporter = nullptr;
    zwlr_layer_shell_v1* layerShell = nullptr;
    zwlr_screencopy_manager_v1* screencopy = nullptr;

    /// Shared memory as a buffer, all transparent; null where none is to be had.
    struct Buffer {
        Owned<wl_buffer> proxy;
        std::shared_ptr<uchar> pixels;
    };
    [[nodiscard]] Buffer makeBuffer(QSize size, int stride, uint32_t format) const;

private:
    void added(wl_registry* registry, uint32_t global, const char* interface, uint32_t version);
    void removed(uint32_t global);

    wl_display* const display;
    wl_registry* registry = nullptr;
    std::vector<Output> knownOutputs;
    std::vector<Seat> knownSeats;
};

} // namespace ovalin
