#include "Spawn.h"

#include "ChildProcess.h"

#include <QFile>

#include <spawn.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

namespace ovalin {

namespace {

std::vector<char*> pointersTo(QByteArrayList& strings) {
    std::vector<char*> pointers;
    for (QByteArray& string : strings)
        pointers.push_back(string.data());
    pointers.push_back(nullptr);
    return pointers;
}

void prepareSignalsOnce() {
    static const bool prepared = [] {
        ::signal(SIGPIPE, SIG_IGN);
        // Inherited as ignored, the system would throw away how our children ended.
        struct sigaction onChild {};
        if (::sigaction(SIGCHLD, nullptr, &onChild) == 0 && onChild.sa_handler == SIG_IGN)
            ::signal(SIGCHLD, SIG_DFL);
        return true;
    }();
    Q_UNUSED(prepared);
}

struct SpawnSetup {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;

    SpawnSetup() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ~SpawnSetup() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    void standard(int number, int given) {
        if (given >= 0)
            ::posix_spawn_file_actions_adddup2(&actions, given, number);
        else
            ::posix_spawn_file_actions_addopen(&actions, number, "/dev/null", number == 0 ? O_RDONLY : O_WRONLY, 0);
    }
};

} // namespace

tl::expected<pid_t, QString> spawnChild(const ChildCommand& command, int input, int output, ChildGroup group) {
    prepareSignalsOnce();
    SpawnSetup setup;
    setup.standard(STDIN_FILENO, input);
    setup.standard(STDOUT_FILENO, output);
    setup.standard(STDERR_FILENO, -1);
    // Libraries open descriptors without the close-on-exec mark.
    ::posix_spawn_file_actions_addclosefrom_np(&setup.actions, STDERR_FILENO + 1);
    const QByteArray directory = QFile::encodeName(command.workingDirectory);
    if (!directory.isEmpty())
        ::posix_spawn_file_actions_addchdir_np(&setup.actions, directory.constData());

    sigset_t pipeSignal, none;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    sigemptyset(&none);
    ::posix_spawnattr_setsigdefault(&setup.attributes, &pipeSignal);
    ::posix_spawnattr_setsigmask(&setup.attributes, &none);
    ::posix_spawnattr_setpgroup(&setup.attributes, 0);
    ::posix_spawnattr_setflags(
        &setup.attributes,
        static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                           (group == ChildGroup::Session ? POSIX_SPAWN_SETSID : POSIX_SPAWN_SETPGROUP)));

    QByteArrayList words{QFile::encodeName(command.executable)};
    for (const QString& argument : command.arguments)
        words.append(argument.toUtf8());
    QByteArrayList environment = environmentWith(command.variables);
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, words.first().constData(), &setup.actions, &setup.attributes,
                                    pointersTo(words).data(), pointersTo(environment).data());
    if (error != 0)
        return tl::unexpected(QStringLiteral("%1: %2").arg(command.executable, qt_error_string(error)));
    return pid;
}

tl::expected<Pipe, QString> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return tl::unexpected(QStringLiteral("pipe: %1").arg(qt_error_string(errno)));
    Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
    for (Descriptor* end : {&pipe.read, &pipe.write}) {
        if (end->get() <= STDERR_FILENO)
            *end = Descriptor(::fcntl(end->get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    }
    return pipe;
}

void makeNonBlocking(const Descriptor& end) { ::fcntl(end.get(), F_SETFL, ::fcntl(end.get(), F_GETFL) | O_NONBLOCK); }

bool wouldBlock() { return errno == EAGAIN || errno == EINTR; }

} // namespace ovalin
