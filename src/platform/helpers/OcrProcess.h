#pragma once

#include "platform/TextRecognizer.h"

#include <chrono>

namespace ovalin {

/// Runs the `ocr` program for each picture, in a process group of its own: the recogniser sometimes aborts, and then it
/// takes only that process with it. The program itself holds its memory to 2 GB.
class OcrProcess final : public TextRecognizer {
public:
    /// `program`: absolute path. After `deadline` it is ended, and there is no text.
    explicit OcrProcess(QString theProgram, std::chrono::milliseconds theDeadline = std::chrono::seconds(10))
        : program(std::move(theProgram))
        , deadline(theDeadline) {}

    [[nodiscard]] std::optional<QString> recognize(const QByteArray& png) override;

private:
    const QString program;
    const std::chrono::milliseconds deadline;
};

} // namespace ovalin
