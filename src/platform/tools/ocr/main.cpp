// ocr: reads a PNG picture from standard input and writes the text in it to standard output, one line of text a line,
// in reading order. Nothing when there is none. With --languages it names those whose data are installed, one a line.
//
// Exit status 0: read, or read as far as the deadline allowed. 1: standard error says why not.
#include "Confinement.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <leptonica/allheaders.h>
#include <sys/resource.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>
#include <unistd.h>

namespace {

constexpr size_t LARGEST_INPUT = size_t{64} << 20; // bytes of PNG
constexpr int64_t LARGEST_PICTURE = 32'000'000;    // pixels, after enlarging
constexpr int SMALLEST_SIDE = 8;                   // pixels; no letter fits
constexpr int DEADLINE = 8000;                     // milliseconds for the recognition
constexpr int SCREEN_RESOLUTION = 96;              // dots per inch
constexpr float LEAST_CONFIDENCE = 30;             // percent; below it a line is an icon or a texture

struct PixFree {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using Picture = std::unique_ptr<Pix, PixFree>;

std::vector<uint8_t> readInput() {
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> part(size_t{1} << 16);
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, part.data(), part.size());
        if (count < 0)
            throw std::runtime_error("cannot read the picture");
        if (count == 0)
            return bytes;
        bytes.insert(bytes.end(), part.begin(), part.begin() + count);
        if (bytes.size() > LARGEST_INPUT)
            throw std::runtime_error("the picture is too large");
    }
}

/// The sides that the PNG header claims, before memory is spent on them.
void checkHeader(const std::vector<uint8_t>& png) {
    int width = 0;
    int height = 0;
    int bits = 0;
    int samples = 0;
    int map = 0;
    if (readHeaderMemPng(png.data(), png.size(), &width, &height, &bits, &samples, &map) != 0)
        throw std::runtime_error("this is no PNG picture");
    if (int64_t{width} * height > LARGEST_PICTURE)
        throw std::runtime_error("the picture is too large");
}

/// Grey, on white, dark on light, twice as large: screen letters are small for a recogniser made for 300 dpi scans.
Picture prepared(Picture picture, int& scale) {
    if (pixGetSpp(picture.get()) == 4)
        picture.reset(pixAlphaBlendUniform(picture.get(), 0xffffff00));
    Picture grey(picture ? pixConvertTo8(picture.get(), 0) : nullptr);
    l_float32 mean = 255;
    if (grey && pixGetAverageMasked(grey.get(), nullptr, 0, 0, 1, L_MEAN_ABSVAL, &mean) == 0 && mean < 128)
        pixInvert(grey.get(), grey.get());
    scale = grey && int64_t{4} * pixGetWidth(grey.get()) * pixGetHeight(grey.get()) <= LARGEST_PICTURE ? 2 : 1;
    if (grey && scale > 1)
        grey.reset(pixScale(grey.get(), static_cast<l_float32>(scale), static_cast<l_float32>(scale)));
    if (!grey)
        throw std::runtime_error("out of memory");
    return grey;
}

std::string trimmed(const char* text) {
    std::string line = text ? text : "";
    const auto last = line.find_last_not_of(" \t\r\n");
    line.erase(last == std::string::npos ? 0 : last + 1);
    return line;
}

void printLines(tesseract::TessBaseAPI& api) {
    const std::unique_ptr<tesseract::ResultIterator> it(api.GetIterator());
    if (!it)
        return;
    do {
        const std::unique_ptr<char[]> text(it->GetUTF8Text(tesseract::RIL_TEXTLINE));
        const std::string line = trimmed(text.get());
        if (!line.empty() && it->Confidence(tesseract::RIL_TEXTLINE) >= LEAST_CONFIDENCE)
            std::printf("%s\n", line.c_str());
    } while (it->Next(tesseract::RIL_TEXTLINE));
}

void recognize(const std::vector<uint8_t>& png) {
    checkHeader(png);
    Picture picture(pixReadMemPng(png.data(), png.size()));
    if (!picture)
        throw std::runtime_error("the picture is damaged");
    if (pixGetWidth(picture.get()) < SMALLEST_SIDE || pixGetHeight(picture.get()) < SMALLEST_SIDE)
        return;
    int scale = 1;
    picture = prepared(std::move(picture), scale);

    tesseract::TessBaseAPI api;
    if (api.Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) != 0)
        throw std::runtime_error("the recogniser's data (eng.traineddata) is not installed");
    api.SetVariable("debug_file", "/dev/null");
    api.SetPageSegMode(tesseract::PSM_AUTO);
    api.SetImage(picture.get());
    api.SetSourceResolution(SCREEN_RESOLUTION * scale);
    tesseract::ETEXT_DESC monitor;
    monitor.set_deadline_msecs(DEADLINE);
    api.Recognize(&monitor); // stopped by the deadline it fails, with the lines so far kept
    printLines(api);
}

void printLanguages() {
    tesseract::TessBaseAPI api;
    std::vector<std::string> languages;
    if (api.Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) == 0)
        api.GetAvailableLanguagesAsVector(&languages);
    for (const std::string& language : languages)
        std::puts(language.c_str());
}

} // namespace

extern "C" void omp_set_max_active_levels(int levels); // clang brings an <omp.h> of another OpenMP

int main(int argc, char** argv) {
    // Behind everything else: the next opening of the panel may come while we read the picture of the last.
    ::setpriority(PRIO_PROCESS, 0, 15);
    // Its OpenMP threads cost more than they bring: 5 s instead of 0.8 s a window on two cores. Neither
    // omp_set_num_threads() nor setting OMP_THREAD_LIMIT from here keeps them away.
    omp_set_max_active_levels(0);
    ovalin::limit({size_t{2} << 30, 30, size_t{16} << 20});
    ovalin::confine({}); // the recogniser's data are only read
    setMsgSeverity(L_SEVERITY_NONE);
    try {
        if (argc > 1 && !std::strcmp(argv[1], "--languages"))
            printLanguages();
        else
            recognize(readInput());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ocr: %s\n", e.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
