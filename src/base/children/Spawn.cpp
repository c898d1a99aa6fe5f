#include "Spawn.h"

#include "ChildCommand.h"

#include <QFile>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <linux/close_range.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

using namespace Qt::StringLiterals;

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

/// What the child needs, made before there is one: from then on it may neither allocate nor lock.
struct Plan {
    char* const* words;
    char* const* environment;
    const char* directory; // null: ours
    int input, output, nothing, complaint;
    ChildGroup group;
    pid_t parent;
};

void complain(const Plan& plan) {
    const int error = errno;
    [[maybe_unused]] const auto written = ::write(plan.complaint, &error, sizeof error);
    ::_exit(127);
}

/// No handler of ours may run in the child, which has our memory; it begins with an empty mask.
void resetSignals() {
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (::sigaction(number, nullptr, &action) == 0 && (action.sa_handler != SIG_IGN || number == SIGPIPE)) {
            action = {};
            action.sa_handler = SIG_DFL;
            ::sigaction(number, &action, nullptr);
        }
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeChild(const Plan& plan) {
    if (plan.group == ChildGroup::Session) {
        ::setsid();
    } else {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != plan.parent) // killed before the line above
            ::_exit(127);
    }
    if (::dup2(plan.input >= 0 ? plan.input : plan.nothing, STDIN_FILENO) < 0 ||
        ::dup2(plan.output >= 0 ? plan.output : plan.nothing, STDOUT_FILENO) < 0 ||
        ::dup2(plan.nothing, STDERR_FILENO) < 0 || (plan.directory && ::chdir(plan.directory) != 0))
        complain(plan);
    // Libraries open descriptors without the close-on-exec mark.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    resetSignals();
    ::execve(plan.words[0], plan.words, plan.environment);
    complain(plan);
    ::_exit(127);
}

/// A function of its own: the child runs on our stack until it has become another program.
[[gnu::noinline]] pid_t startChild(const Plan& plan) {
    const pid_t pid = ::vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork): fork() copies our page tables
    if (pid == 0)
        becomeChild(plan);
    return pid;
}

} // namespace

tl::expected<pid_t, QString> spawnChild(const ChildCommand& command, int input, int output, ChildGroup group) {
    prepareSignalsOnce();
    const auto failed = [&command](int error) {
        return tl::unexpected(u"%1: %2"_s.arg(command.executable, qt_error_string(error)));
    };
    auto complaints = makePipe();
    if (!complaints)
        return tl::unexpected(complaints.error());
    const Descriptor nothing(
        ::fcntl(Descriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)).get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!nothing)
        return failed(errno);
    QByteArrayList words{QFile::encodeName(command.executable)};
    for (const QString& argument : command.arguments)
        words.append(argument.toUtf8());
    QByteArrayList environment = environmentWith(command.variables);
    const auto wordPointers = pointersTo(words), environmentPointers = pointersTo(environment);
    const QByteArray directory = QFile::encodeName(command.workingDirectory);
    const Plan plan{wordPointers.data(),
                    environmentPointers.data(),
                    directory.isEmpty() ? nullptr : directory.constData(),
                    input,
                    output,
                    nothing.get(),
                    complaints->write.get(),
                    group,
                    ::getpid()};

    sigset_t all, before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = startChild(plan);
    const int error = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (pid < 0)
        return failed(error);
    complaints->write.close();
    int complaint = 0;
    if (::read(complaints->read.get(), &complaint, sizeof complaint) == sizeof complaint) {
        ::waitpid(pid, nullptr, 0);
        return failed(complaint);
    }
    return pid;
}

tl::expected<Pipe, QString> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return tl::unexpected(u"pipe: %1"_s.arg(qt_error_string(errno)));
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
