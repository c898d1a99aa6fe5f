// The chat's line reader and parser over the recorded stream of an answer, repeated to 256 MB, beside a bare loop that
// reads the same bytes and splits them at line feeds.
//
//   bench_line_reader FILE.jsonl…        two rows a file: whole, and only the lines that carry no text of an answer;
//                                        MB/s of five runs, median and worst, and the ratio
#include "ask/LineReader.h"
#include "ask/StreamProtocol.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using namespace ovalin;

namespace {

constexpr size_t TOTAL = size_t{256} << 20;
constexpr int RUNS = 5;

volatile size_t sink = 0;

double bareSplit(int file) {
    std::vector<char> buffer(1 << 16);
    std::string tail;
    size_t lines = 0;
    const auto start = std::chrono::steady_clock::now();
    for (ssize_t count; (count = ::read(file, buffer.data(), buffer.size())) > 0;) {
        const char* at = buffer.data();
        const char* const end = at + count;
        while (const void* feed = std::memchr(at, '\n', static_cast<size_t>(end - at))) {
            at = static_cast<const char*>(feed) + 1;
            ++lines;
        }
        tail.assign(at, end);
    }
    sink = lines;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double asTheChat(int file) {
    LineReader reader;
    StreamProtocol protocol;
    size_t events = 0;
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        const auto room = reader.room();
        const ssize_t count = ::read(file, room.data(), room.size());
        if (count <= 0)
            break;
        reader.added(static_cast<size_t>(count),
                     [&](std::string_view line) { protocol.handleAskLine(line, [&](StreamEvent&&) { ++events; }); });
    }
    sink = events;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string withoutText(const std::string& lines) {
    std::istringstream in(lines);
    std::string kept;
    for (std::string line; std::getline(in, line);) {
        const auto has = [&line](const char* mark) { return line.find(mark) != std::string::npos; };
        if (!has("\"text_delta\"") && !has("\"type\":\"assistant\"") && !has("\"type\":\"result\""))
            kept += line + '\n';
    }
    return kept;
}

bool measure(const char* title, const std::string& once) {
    char name[] = "/dev/shm/ovalin-stream-XXXXXX";
    const int file = ::mkstemp(name);
    ::unlink(name);
    size_t total = 0;
    for (; total < TOTAL; total += once.size()) {
        if (once.empty() || ::write(file, once.data(), once.size()) < 0)
            return false;
    }
    std::vector<double> bare, chat;
    for (int run = 0; run < RUNS; ++run) {
        ::lseek(file, 0, SEEK_SET);
        bare.push_back(bareSplit(file));
        ::lseek(file, 0, SEEK_SET);
        chat.push_back(asTheChat(file));
    }
    ::close(file);
    std::sort(bare.begin(), bare.end());
    std::sort(chat.begin(), chat.end());
    const auto rate = [total](double seconds) { return static_cast<double>(total) / 1e6 / seconds; };
    std::printf("%-40s bare %6.0f MB/s (worst %6.0f)  chat %6.0f MB/s (worst %6.0f)  ratio %.2f\n", title,
                rate(bare[RUNS / 2]), rate(bare.back()), rate(chat[RUNS / 2]), rate(chat.back()),
                chat[RUNS / 2] / bare[RUNS / 2]);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::ifstream in(argv[i], std::ios::binary);
        const std::string once{std::istreambuf_iterator<char>(in), {}};
        if (!measure(argv[i], once) || !measure("  its lines without text", withoutText(once)))
            return 1;
    }
}
