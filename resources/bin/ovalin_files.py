"""Files that are replaced whole, and only if they still are what was read: other programs write them too."""

import ctypes
import errno
import fcntl
import os
import random
import signal
import stat
import time
from contextlib import contextmanager

LIMIT = 256 << 20
EXCHANGE = 2  # RENAME_EXCHANGE
NO_REPLACE = 1


def rename(old, new, flags):
    libc = ctypes.CDLL(None, use_errno=True)
    at_cwd = -100
    if libc.renameat2(at_cwd, os.fsencode(old), at_cwd, os.fsencode(new), flags) != 0:
        number = ctypes.get_errno()
        if flags != NO_REPLACE or number not in (errno.EINVAL, errno.ENOSYS):
            raise OSError(number, os.strerror(number), old)
        if os.path.lexists(new):
            raise FileExistsError(errno.EEXIST, os.strerror(errno.EEXIST), new)
        os.rename(old, new)


def version(status):
    return status.st_dev, status.st_ino, status.st_mtime_ns, status.st_size


def read_whole(path):
    """The bytes of a regular file, and its status of the moment before. FileNotFoundError, OSError."""
    descriptor = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC)  # a named pipe must not hold us
    with open(descriptor, "rb") as file:
        status = os.fstat(descriptor)
        if not stat.S_ISREG(status.st_mode):
            raise OSError(errno.EINVAL, "not a regular file", path)
        content = file.read(LIMIT + 1)
        if len(content) > LIMIT:
            raise OSError(errno.EFBIG, os.strerror(errno.EFBIG), path)
        return content, status


def has_writer(path):
    """Whether another process has the file open for writing: then a read lease is refused."""
    with open(path, "rb") as file:
        try:
            fcntl.fcntl(file, fcntl.F_SETSIG, signal.SIGURG)  # the default notice, SIGIO, would end us
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_RDLCK)
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_UNLCK)
        except OSError as error:
            return error.errno == errno.EAGAIN
    return False


def is_still(path, content, status):
    """The bytes are compared too: two writes within one tick of the file system's clock have the same time."""
    try:
        if has_writer(path):
            return False
        now, now_status = read_whole(path)
    except OSError:
        return False
    return version(now_status) == version(status) and now == content


def write_new(path, content, like=None):
    """A new file, synced; with the owner, mode and extended attributes of the file `like`. None is left where it cannot
    be written whole."""
    descriptor = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC, 0o600)
    try:
        with open(descriptor, "wb") as file:
            file.write(content)
            file.flush()
            if like:
                copy_attributes(like, descriptor)
            os.fsync(descriptor)
            return os.fstat(descriptor)
    except OSError as error:
        os.unlink(path)
        raise OSError(error.errno, error.strerror, path) from error


def copy_attributes(like, descriptor):
    status = os.stat(like)
    if (status.st_uid, status.st_gid) != (os.fstat(descriptor).st_uid, os.fstat(descriptor).st_gid):
        os.fchown(descriptor, status.st_uid, status.st_gid)
    for name in os.listxattr(like):
        try:
            os.setxattr(descriptor, name, os.getxattr(like, name))
        except OSError:
            pass  # not every kind can be set by a user, nor on every file system
    os.fchmod(descriptor, stat.S_IMODE(status.st_mode))


def sync_folder(path):
    descriptor = os.open(os.path.dirname(path), os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(descriptor)
    except OSError:
        pass  # some file systems cannot
    finally:
        os.close(descriptor)


def replace_if_unchanged(path, before, status, content):
    """Replaces the file (no symbolic link) that was read as `before` with `status`, or makes it where `status` is None.
    False: somebody else was first, and his file stands. Exact also against those who take no lock, where the file
    system can exchange two names; a short window remains elsewhere."""
    temporary = os.path.join(os.path.dirname(path), ".ovalin-%016x.tmp" % random.getrandbits(64))
    try:
        written = write_new(temporary, content, like=path if status else None)
        if status is None:
            rename(temporary, path, NO_REPLACE)
        elif not is_still(path, before, status):
            return False
        else:
            try:
                rename(temporary, path, EXCHANGE)
            except OSError as error:
                if error.errno not in (errno.EINVAL, errno.ENOSYS):
                    raise
                os.replace(temporary, path)
            else:
                if not is_still(temporary, before, status):
                    put_back(temporary, path, content, written)
                    return False
        sync_folder(path)
        return True
    except (FileExistsError, FileNotFoundError):
        return False
    finally:
        try:
            os.unlink(temporary)
        except FileNotFoundError:
            pass


def put_back(temporary, path, content, written):
    """What came out of the exchange was not what was read: it goes back. Had a third one changed ours meanwhile, then
    his stays, and the other is kept beside it."""
    rename(temporary, path, EXCHANGE)
    if not is_still(temporary, content, written):
        rename(temporary, path, EXCHANGE)
        name, suffix = os.path.splitext(path)
        rename(temporary, "%s-conflict-%x%s" % (name, random.getrandbits(64), suffix), NO_REPLACE)


def set_aside(path, status):
    """Renames a file to a new name beside it, "NAME-unreadable-TIME.EXT", and returns that; None when it is no longer
    the one of this status."""
    name, suffix = os.path.splitext(path)
    stamp = time.strftime("%Y-%m-%dT%H%M%SZ", time.gmtime())
    for number in range(1, 1000):
        aside = "%s-unreadable-%s%s%s" % (name, stamp, "-%d" % number if number > 1 else "", suffix)
        try:
            rename(path, aside, NO_REPLACE)
        except FileExistsError:
            continue
        except FileNotFoundError:
            return None
        if version(os.stat(aside)) == version(status):
            sync_folder(aside)
            return aside
        try:
            rename(aside, path, NO_REPLACE)  # somebody put it right at this very moment
        except FileExistsError:
            pass
        return None
    raise OSError(errno.EEXIST, os.strerror(errno.EEXIST), path)


@contextmanager
def lock(path, patience=2.0):
    """Holds off others who take the same lock, flock() on PATH.lock; without it after `patience` seconds, for a stuck
    program must not stop us and replace_if_unchanged() protects the file."""
    flags = os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC
    try:
        descriptor = os.open(path + ".lock", flags, 0o600)
    except OSError:
        yield
        return
    try:
        deadline = time.monotonic() + patience
        while time.monotonic() < deadline:
            try:
                fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
                break
            except BlockingIOError:
                time.sleep(0.005)
            except OSError:
                break  # this file system has no locks
        yield
    finally:
        os.close(descriptor)
