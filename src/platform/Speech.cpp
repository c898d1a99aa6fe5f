#include "Speech.h"

namespace ovalin {

void RecognitionRequest::append(std::span<const qint16> block) {
    {
        const std::lock_guard lock(mutex);
        if (ended)
            return;
        blocks.emplace_back(block.begin(), block.end());
    }
    changed.notify_one();
}

void RecognitionRequest::endAudio() {
    {
        const std::lock_guard lock(mutex);
        ended = true;
    }
    changed.notify_all();
}

void RecognitionRequest::cancel() {
    {
        const std::lock_guard lock(mutex);
        ended = dropped = true;
        blocks.clear();
    }
    changed.notify_all();
}

bool RecognitionRequest::cancelled() const {
    const std::lock_guard lock(mutex);
    return dropped;
}

std::optional<SoundBlock> RecognitionRequest::take() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return ended || !blocks.empty(); });
    if (blocks.empty())
        return std::nullopt;
    SoundBlock block = std::move(blocks.front());
    blocks.pop_front();
    return block;
}

void RecognitionRequest::continueFrom(RecognitionRequest& earlier) {
    const std::scoped_lock lock(mutex, earlier.mutex);
    blocks.insert(blocks.begin(), std::make_move_iterator(earlier.blocks.begin()),
                  std::make_move_iterator(earlier.blocks.end()));
    earlier.blocks.clear();
    changed.notify_all();
}

} // namespace ovalin
