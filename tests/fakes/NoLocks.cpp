// Preloaded, it makes every file system one that knows neither locks nor the exchange of two names.
#include <cerrno>
#include <cstdio>

extern "C" {

int flock(int, int) {
    errno = ENOLCK;
    return -1;
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
    if (flags == 0)
        return renameat(fromFolder, from, toFolder, to);
    errno = EINVAL;
    return -1;
}

} // extern "C"
