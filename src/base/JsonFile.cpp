#include "JsonFile.h"

#include "Descriptor.h"
#include "Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRandomGenerator>

#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace ovalin {

namespace {

constexpr qint64 MAX_FILE_SIZE = qint64{256} << 20;

tl::unexpected<QString> failure(const char* step, const QString& path, int error = errno) {
    return tl::unexpected(QStringLiteral("%1 %2: %3").arg(QLatin1String(step), path, qt_error_string(error)));
}

FileVersion versionFrom(const struct stat& status) {
    return {true, status.st_dev, status.st_ino, qint64{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
            status.st_size};
}

/// Where the symbolic links end, also when nothing is there.
FileResult<QString> endOfLinks(const QString& path) {
    QString end = path;
    for (int hop = 0; hop < 40; ++hop) {
        std::error_code error;
        const auto next = std::filesystem::read_symlink(QFile::encodeName(end).toStdString(), error);
        if (error)
            return end;
        end = QFileInfo(end).dir().filePath(QFile::decodeName(next.c_str()));
    }
    return failure("follow", path, ELOOP);
}

int rename(const QString& from, const QString& to, unsigned flags = 0) {
    return ::renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD, QFile::encodeName(to).constData(),
                       flags);
}

/// Renames, or fails with EEXIST where the name is taken.
int renameToFreeName(const QString& from, const QString& to) {
    if (rename(from, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return -1;
    struct stat status {};
    if (::lstat(QFile::encodeName(to).constData(), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return rename(from, to);
}

void syncFolderOf(const QString& path) {
    const Descriptor folder(
        ::open(QFile::encodeName(QFileInfo(path).path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder)
        ::fsync(folder.get()); // the rename is done; a file system that cannot sync a folder changes nothing in that
}

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
            return failure("read", path);
        if (bytes.size() > MAX_FILE_SIZE)
            return failure("read", path, EFBIG);
    }
}

FileResult<FileContents> readRegular(const QString& path, int flags) {
    // Without O_NONBLOCK a named pipe would hold us here.
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return FileContents{};
        return failure("open", path);
    }
    if (!S_ISREG(status.st_mode))
        return failure("open", path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    if (status.st_size > MAX_FILE_SIZE)
        return failure("read", path, EFBIG);
    auto bytes = readAll(file.get(), status.st_size, path);
    if (!bytes)
        return tl::unexpected(bytes.error());
    return FileContents{std::move(*bytes), versionFrom(status)};
}

/// Whether the file at `path` is the one that was read, untouched. The bytes are compared too: two writes within one
/// tick of the file system's clock have the same time.
bool isStill(const QString& path, const FileContents& asRead) {
    if (hasWriter(path))
        return false;
    const auto now = readRegular(path, O_NOFOLLOW);
    return now && now->version == asRead.version && now->bytes == asRead.bytes;
}

/// A new file in the folder of the one that it will replace; removed when it goes, whatever it holds by then.
class TemporaryFile {
public:
    static FileResult<TemporaryFile> beside(const QString& target) {
        TemporaryFile temporary;
        do {
            temporary.path = QFileInfo(target).dir().filePath(
                QStringLiteral(".ovalin-%1.tmp")
                    .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0')));
            temporary.file = Descriptor(::open(QFile::encodeName(temporary.path).constData(),
                                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        } while (!temporary.file && errno == EEXIST);
        if (!temporary.file) {
            const QString path = std::exchange(temporary.path, {});
            return failure("create", path);
        }
        return temporary;
    }
    TemporaryFile(TemporaryFile&& other) noexcept
        : path(std::exchange(other.path, {}))
        , file(std::move(other.file)) {}
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    ~TemporaryFile() {
        if (!path.isEmpty())
            ::unlink(QFile::encodeName(path).constData());
    }

    FileResult<FileVersion> fill(const QByteArray& bytes, mode_t mode, bool durable) {
        for (qsizetype done = 0; done < bytes.size();) {
            const auto count = ::write(file.get(), bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
            if (count < 0 && errno != EINTR)
                return failure("write", path);
            done += qMax<qsizetype>(count, 0);
        }
        struct stat status {};
        if (::fchmod(file.get(), mode) != 0)
            return failure("set the mode of", path);
        if (durable && ::fsync(file.get()) != 0 && errno != EINVAL)
            return failure("sync", path);
        if (::fstat(file.get(), &status) != 0)
            return failure("look at", path);
        file.close();
        return versionFrom(status);
    }

    [[nodiscard]] const QString& name() const { return path; }
    void release() { path.clear(); }

private:
    TemporaryFile() = default;
    QString path;
    Descriptor file;
};

/// The mode for the new file. Refuses what is not a regular file: nobody wants a device or a folder replaced.
FileResult<mode_t> modeFor(const QString& target, const ReplaceOptions& options) {
    struct stat status {};
    if (::lstat(QFile::encodeName(target).constData(), &status) != 0) {
        if (errno == ENOENT)
            return options.newMode;
        return failure("look at", target);
    }
    if (S_ISREG(status.st_mode))
        return status.st_mode & 07777;
    if (S_ISLNK(status.st_mode) && !options.followLinks)
        return options.newMode;
    return failure("replace", target, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
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

/// "captures.json" and "unreadable-T": "captures-unreadable-T.json", in the same folder.
QString nameBeside(const QString& target, const QString& word) {
    const QFileInfo info(target);
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.dir().filePath(info.completeBaseName() + QLatin1Char('-') + word + suffix);
}

/// What came out of the exchange was not what we had read: it goes back in its place. Had a third one been quick
/// enough to change or replace ours meanwhile, then his stays and the other is kept beside it, whole.
void putBack(Prepared& prepared, const QByteArray& ours) {
    rename(prepared.temporary.name(), prepared.target, RENAME_EXCHANGE);
    if (isStill(prepared.temporary.name(), {ours, prepared.version}))
        return;
    rename(prepared.temporary.name(), prepared.target, RENAME_EXCHANGE);
    const quint64 number = QRandomGenerator::global()->generate64();
    const QString kept = nameBeside(prepared.target, QStringLiteral("conflict-") + QString::number(number, 16));
    if (renameToFreeName(prepared.temporary.name(), kept) == 0)
        prepared.temporary.release();
}

} // namespace

FileResult<void> ensureFolder(const QString& path) {
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(path).toStdString(), error);
    if (error)
        return failure("make the folder", path, error.value());
    return {};
}

FileVersion versionOf(const QString& path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? versionFrom(status) : FileVersion{};
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
    if (rename(prepared->temporary.name(), prepared->target) != 0)
        return failure("replace", prepared->target);
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
            return failure("replace", target);
        }
        prepared->temporary.release();
    } else if (!isStill(target, asRead)) { // so that a wrong exchange, which others can see, is very rare
        return Replaced::Changed;
    } else if (rename(temporary, target, RENAME_EXCHANGE) == 0) {
        if (!isStill(temporary, asRead)) {
            putBack(*prepared, bytes);
            return Replaced::Changed;
        }
    } else if (errno == ENOENT) {
        return Replaced::Changed;
    } else if ((errno == EINVAL || errno == ENOSYS) && rename(temporary, target) == 0) {
        prepared->temporary.release();
    } else {
        return failure("replace", target);
    }
    if (options.durable)
        syncFolderOf(target);
    return Replaced::Done;
}

FileResult<QString> setAside(const QString& path, const FileVersion& version) {
    const auto target = endOfLinks(path);
    if (!target)
        return tl::unexpected(target.error());
    const QString time = isoTimestamp(QDateTime::currentDateTimeUtc()).remove(QLatin1Char(':'));
    for (int number = 1; number < 1000; ++number) {
        const QString again = number > 1 ? QStringLiteral("-%1").arg(number) : QString();
        const QString aside = nameBeside(*target, QStringLiteral("unreadable-") + time + again);
        if (renameToFreeName(*target, aside) != 0) {
            if (errno == EEXIST)
                continue;
            if (errno == ENOENT)
                return QString();
            return failure("set aside", *target);
        }
        if (versionOf(aside) == version) {
            syncFolderOf(aside);
            return aside;
        }
        // Somebody put it right at this very moment. If he did it twice, his first try stays under the new name.
        renameToFreeName(aside, *target);
        return QString();
    }
    return failure("set aside", *target, EEXIST);
}

QString shortReason(const QString& error) {
    QString reason = error.section(QStringLiteral(": "), -1);
    if (!reason.isEmpty())
        reason[0] = reason[0].toLower();
    return reason;
}

FileResult<QJsonObject> parseObject(const QByteArray& bytes) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (document.isObject())
        return document.object();
    return tl::unexpected(document.isNull() ? error.errorString() : QStringLiteral("not a JSON object"));
}

QByteArray prettyJson(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Indented); }

} // namespace ovalin
