// What `ovalin` is: it has the running copy open or close its panel, and is done before Qt would be loaded; all else is
// the agent's, which takes its place.
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using Path = std::array<char, PATH_MAX>;

constexpr char QUESTION[] = "toggle\n", DONE[] = "ok\n";
constexpr timeval PATIENCE{2, 0};

/// A stream socket to the copy whose runtime folder this is; -1: there is none, or the folder is somebody else's.
int connectedTo(const char* folder) {
    struct stat info {};
    sockaddr_un address{AF_UNIX, {}};
    const int length = std::snprintf(address.sun_path, sizeof address.sun_path, "%s/ovalin.socket", folder);
    if (length >= static_cast<int>(sizeof address.sun_path) || ::stat(folder, &info) != 0 || info.st_uid != ::getuid())
        return -1;
    const int peer = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (peer < 0 || ::connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return peer;
    ::close(peer);
    return -1;
}

int runningCopy() {
    Path folder{};
    std::snprintf(folder.data(), folder.size(), "/run/user/%u", ::getuid());
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    const int peer = runtime ? connectedTo(runtime) : -1;
    return peer >= 0 ? peer : connectedTo(folder.data());
}

bool answered(int peer) {
    ::setsockopt(peer, SOL_SOCKET, SO_SNDTIMEO, &PATIENCE, sizeof PATIENCE);
    ::setsockopt(peer, SOL_SOCKET, SO_RCVTIMEO, &PATIENCE, sizeof PATIENCE);
    if (::send(peer, QUESTION, sizeof QUESTION - 1, MSG_NOSIGNAL) < 0)
        return false;
    char answer[sizeof DONE]{};
    return ::recv(peer, answer, sizeof DONE - 1, MSG_WAITALL) > 0 && !std::strcmp(answer, DONE);
}

/// Becomes the agent: in libexec/ beside this program in the build tree, ../libexec/ovalin under the install prefix.
int becomeAgent(char** arguments) {
    Path self{}, agent{};
    const ssize_t length = ::readlink("/proc/self/exe", self.data(), self.size() - 1);
    char* const name = length > 0 ? std::strrchr(self.data(), '/') : nullptr;
    if (name)
        *name = '\0';
    for (const char* place : {"libexec/ovalin-agent", "../libexec/ovalin/ovalin-agent"}) {
        if (std::snprintf(agent.data(), agent.size(), "%s/%s", self.data(), place) < static_cast<int>(agent.size()))
            ::execv(agent.data(), arguments);
    }
    std::fprintf(stderr, "ovalin: %s: %s\n", agent.data(), std::strerror(errno));
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const int peer = argc == 2 && !std::strcmp(argv[1], "toggle") ? runningCopy() : -1;
    if (peer < 0)
        return becomeAgent(argv);
    if (answered(peer))
        return 0;
    std::fputs("ovalin: Ovalin runs but does not answer\n", stderr);
    return 1;
}
