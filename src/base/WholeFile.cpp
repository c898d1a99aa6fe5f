#include "WholeFile.h"

#include "TemporaryFile.h"

#include <QFile>
#include <QRandomGenerator>

#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <system_error>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qint64 MAX_FILE_SIZE = qint64{256} << 20;

FileResult<QByteArray> readAll(int fd, qint64 size, const QString& path) {
    QByteArray bytes;
    bytes.reserve(size + 1);
    while (true) {
        const qsizetype have = bytes.size();
        const qsizetype step = qMax<qsizetype>(bytes.capacity() - have, 65536);
        bytes.resize(have + step);
        const auto count = ::read(fd, bytes.data() + have, static_cast<size_t>(step));
        bytes.resize(have + qMax<qsizetype>(count, 0));
        if (count == 0)
            return bytes;
        if (count < 0 && errno != EINTR)
            return fileFailure("read", path);
        if (bytes.size() > MAX_FILE_SIZE)
            return fileFailure("read", path, EFBIG);
    }
}

FileResult<FileContents> readRegular(const QString& path, int flags) {
    // Without O_NONBLOCK a named pipe would hold us here.
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return FileContents{};
        return fileFailure("open", path);
    }
    if (!S_ISREG(status.st_mode))
        return fileFailure("open", path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    if (status.st_size > MAX_FILE_SIZE)
        return fileFailure("read", path, EFBIG);
    auto bytes = readAll(file.get(), status.st_size, path);
    if (!bytes)
        return tl::unexpected(bytes.error());
    return FileContents{std::move(*bytes), FileVersion::from(status)};
}

/// Whether the file at `path` is the one that was read, untouched. The bytes are compared too: two writes within one
/// tick of the file system's clock have the same time.
bool isStill(const QString& path, const FileContents& asRead) {
    if (hasWriter(path))
        return false;
    const auto now = readRegular(path, O_NOFOLLOW);
    return now && now->version == asRead.version && now->bytes == asRead.bytes;
}

/// The mode for the new file. Refuses what is not a regular file: nobody wants a device or a folder replaced.
FileResult<mode_t> modeFor(const QString& target, const ReplaceOptions& options) {
    struct stat status {};
    if (::lstat(QFile::encodeName(target).constData(), &status) != 0) {
        if (errno == ENOENT)
            return options.newMode;
        return fileFailure("look at", target);
    }
    if (S_ISREG(status.st_mode))
        return status.st_mode & 07777;
    if (S_ISLNK(status.st_mode) && !options.followLinks)
        return options.newMode;
    return fileFailure("replace", target, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
}

struct Prepared {
    QString target;
    TemporaryFile temporary;
    FileVersion version; ///< of the temporary file
};

FileResult<Prepared> prepare(const QString& path, const QByteArray& bytes, const ReplaceOptions& options) {
    const auto target = options.followLinks ? endOfLinks(path) : FileResult<QString>(path);
    if (!target)
        return tl::unexpected(target.error());
    const auto mode = modeFor(*target, options);
    if (!mode)
        return tl::unexpected(mode.error());
    auto temporary = TemporaryFile::beside(*target);
    if (!temporary)
        return tl::unexpected(temporary.error());
    const auto version = temporary->fill(bytes, *mode, options.durable);
    if (!version)
        return tl::unexpected(version.error());
    return Prepared{*target, std::move(*temporary), *version};
}

/// What came out of the exchange was not what we had read: it goes back in its place. Had a third one been quick
/// enough to change or replace ours meanwhile, then his stays and the other is kept beside it, whole.
void putBack(Prepared& prepared, const QByteArray& ours) {
    renameFile(prepared.temporary.name(), prepared.target, RENAME_EXCHANGE);
    if (isStill(prepared.temporary.name(), {ours, prepared.version}))
        return;
    renameFile(prepared.temporary.name(), prepared.target, RENAME_EXCHANGE);
    const quint64 number = QRandomGenerator::global()->generate64();
    const QString kept = nameBeside(prepared.target, u"conflict-"_s + QString::number(number, 16));
    if (renameToFreeName(prepared.temporary.name(), kept) == 0)
        prepared.temporary.release();
}

} // namespace

FileResult<void> ensureFolder(const QString& path) {
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(path).toStdString(), error);
    if (error)
        return fileFailure("make the folder", path, error.value());
    return {};
}

FileVersion versionOf(const QString& path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? FileVersion::from(status) : FileVersion{};
}

// A read lease is refused then.
bool hasWriter(const QString& path) {
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file)
        return false;
    ::fcntl(file.get(), F_SETSIG, SIGURG); // the default notice, SIGIO, would end us
    if (::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0)
        return errno == EAGAIN;
    ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
    return false;
}

FileResult<FileContents> readWholeFile(const QString& path) { return readRegular(path, 0); }

FileResult<void> replaceFile(const QString& path, const QByteArray& bytes, const ReplaceOptions& options) {
    auto prepared = prepare(path, bytes, options);
    if (!prepared)
        return tl::unexpected(prepared.error());
    if (renameFile(prepared->temporary.name(), prepared->target) != 0)
        return fileFailure("replace", prepared->target);
    prepared->temporary.release();
    if (options.durable)
        syncFolderOf(prepared->target);
    return {};
}

FileResult<Replaced> replaceIfUnchanged(const QString& path, const FileContents& asRead, const QByteArray& bytes,
                                        const ReplaceOptions& options) {
    auto prepared = prepare(path, bytes, options);
    if (!prepared)
        return tl::unexpected(prepared.error());
    const QString& temporary = prepared->temporary.name();
    const QString& target = prepared->target;
    if (!asRead.version.exists) {
        if (renameToFreeName(temporary, target) != 0) {
            if (errno == EEXIST)
                return Replaced::Changed;
            return fileFailure("replace", target);
        }
        prepared->temporary.release();
    } else if (!isStill(target, asRead)) { // so that a wrong exchange, which others can see, is very rare
        return Replaced::Changed;
    } else if (renameFile(temporary, target, RENAME_EXCHANGE) == 0) {
        if (!isStill(temporary, asRead)) {
            putBack(*prepared, bytes);
            return Replaced::Changed;
        }
    } else if (errno == ENOENT) {
        return Replaced::Changed;
    } else if ((errno == EINVAL || errno == ENOSYS) && renameFile(temporary, target) == 0) {
        prepared->temporary.release();
    } else {
        return fileFailure("replace", target);
    }
    if (options.durable)
        syncFolderOf(target);
    return Replaced::Done;
}

QString shortReason(const QString& error) {
    QString reason = error.section(u": "_s, -1);
    if (!reason.isEmpty())
        reason[0] = reason[0].toLower();
    return reason;
}

} // namespace ovalin
