#pragma once

#include <tl/expected.hpp>

#include <QString>

#include <memory>
#include <span>

namespace ovalin {

/// The Vosk engine (https://alphacephei.com/vosk), loaded at run time. Every call may take seconds: one thread of one's
/// own. Once loaded the library stays in the process; models come and go.
class Vosk {
public:
    struct Functions;
    class Stream;

    /// Loads the library and the model in `folder`; the error says which of them failed, and how.
    [[nodiscard]] static tl::expected<Vosk, QString> load(const QString& library, const QString& folder);

    /// One stretch of speech, SOUND_RATE samples a second. The engine outlives it.
    [[nodiscard]] tl::expected<Stream, QString> stream() const;

private:
    struct Model;
    explicit Vosk(std::shared_ptr<const Model> theModel)
        : model(std::move(theModel)) {}
    std::shared_ptr<const Model> model;
};

class Vosk::Stream {
public:
    enum class Heard { Speech, UtteranceEnd, Failure };

    /// Hears some more; at the end of an utterance, which a pause makes, its text is result() and the next one begins.
    [[nodiscard]] Heard accept(std::span<const qint16> block);
    [[nodiscard]] QString partial() const;
    [[nodiscard]] QString result() const;
    /// The words since the last utterance's end; the stream is over then.
    [[nodiscard]] QString finalResult() const;

private:
    friend class Vosk;
    struct Handle;
    explicit Stream(std::shared_ptr<const Handle> theHandle)
        : handle(std::move(theHandle)) {}
    std::shared_ptr<const Handle> handle;
};

} // namespace ovalin
