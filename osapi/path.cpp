#include "osapi/Environment.hpp"

#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

using zov::environment::fits;
using zov::environment::os_failure;
using zov::environment::store;

namespace {

constexpr char kDeleteOperation[] = "ZOVOsapiUtility_deleteDirectory";

/** An open directory; the position of the last entry is its own. */
class Directory
{
public:
    /** Check is_open; errno tells why not. A link is not opened. */
    Directory(int parent, const char *name)
    {
        const int descriptor =
            openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor < 0)
            return;
        m_directory = fdopendir(descriptor);
        if (m_directory == nullptr)
            close(descriptor);
    }
    ~Directory()
    {
        if (m_directory != nullptr)
            closedir(m_directory);
    }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    [[nodiscard]] bool is_open() const { return m_directory != nullptr; }
    [[nodiscard]] int descriptor() const { return dirfd(m_directory); }

    /** The next entry but "." and ".."; null at the end, or with errno set. */
    const char *next()
    {
        errno = 0;
        const dirent *entry = readdir(m_directory);
        while (entry != nullptr && is_itself_or_parent(entry->d_name))
            entry = readdir(m_directory);
        return entry != nullptr ? entry->d_name : nullptr;
    }

private:
    static bool is_itself_or_parent(std::string_view name) { return name == "." || name == ".."; }

    DIR *m_directory = nullptr;
};

bool delete_directory(int parent, const char *name);

/** A directory shows by refusing to be unlinked, so that nothing can change in between. */
bool delete_entry(int parent, const char *name)
{
    if (unlinkat(parent, name, 0) == 0)
        return true;
    return errno == EISDIR ? delete_directory(parent, name)
                           : os_failure(kDeleteOperation, "unlinkat") != 0;
}

bool delete_entries(Directory &directory)
{
    while (const char *name = directory.next()) {
        if (!delete_entry(directory.descriptor(), name))
            return false;
    }
    return errno == 0 || os_failure(kDeleteOperation, "readdir");
}

// Goes down by open directories, not by paths: a directory that somebody replaces by a link
// meanwhile does not lead out of the tree.
bool delete_directory(int parent, const char *name)
{
    Directory directory(parent, name);
    if (!directory.is_open())
        return os_failure(kDeleteOperation, "openat") != 0;
    if (!delete_entries(directory))
        return false;
    return unlinkat(parent, name, AT_REMOVEDIR) == 0 || os_failure(kDeleteOperation, "unlinkat");
}

/** The component before the end is taken back; `floor` is as far as that may go. */
char *without_last(char *end, const char *floor)
{
    do
        --end;
    while (end > floor && *end != '/');
    return end;
}

} // namespace

ZOVBool ZOVOsapiUtility_getExecutablePath(char *buffer, size_t size)
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length < 0)
        return os_failure(__func__, "readlink");
    path[length] = '\0';
    return store(buffer, size, path, __func__);
}

ZOVBool ZOVOsapiUtility_getSelfFullpath(char *buffer, size_t size)
{
    return ZOVOsapiUtility_getExecutablePath(buffer, size);
}

const char *ZOVOsapiUtility_getNextPathToken(const char *path, const char **tokenOut,
                                             int *lengthOut)
{
    path += std::strspn(path, "/");
    const std::size_t length = std::strcspn(path, "/");
    if (length == 0)
        return nullptr;
    *tokenOut = path;
    *lengthOut = static_cast<int>(length);
    return path + length;
}

ZOVBool ZOVOsapiUtility_normalizePath(char *path)
{
    const bool is_absolute = *path == '/';
    char *const begin = is_absolute ? path + 1 : path;
    char *end = begin;
    const char *floor = begin; // behind the ".." that stay
    const char *token = nullptr;
    int length = 0;
    const char *rest = path;
    while ((rest = ZOVOsapiUtility_getNextPathToken(rest, &token, &length)) != nullptr) {
        const std::string_view component(token, static_cast<std::size_t>(length));
        const bool is_parent = component == "..";
        if (component == "." || (is_parent && is_absolute && end == begin))
            continue;
        if (is_parent && end > floor) {
            end = without_last(end, floor);
            continue;
        }
        if (end > begin)
            *end++ = '/';
        std::memmove(end, component.data(), component.size());
        end += component.size();
        if (is_parent)
            floor = end;
    }
    if (end == path)
        *end++ = '.';
    *end = '\0';
    return ZOV_TRUE;
}

int32_t ZOVOsapiUtility_getTokenCount(const char *text, char delimiter)
{
    std::int32_t count = 0;
    for (char before = delimiter; *text != '\0'; before = *text++) {
        if (before == delimiter && *text != delimiter)
            ++count;
    }
    return count;
}

ZOVBool ZOVOsapiUtility_createTempDirectory(char *buffer, size_t size, const char *prefix)
{
    const char *parent = std::getenv("TMPDIR");
    if (parent == nullptr || *parent == '\0')
        parent = "/tmp";
    char path[PATH_MAX];
    if (ZOVOsapiUtility_snprintf(path, sizeof path, "%s/%sXXXXXX", parent,
                                 prefix != nullptr ? prefix : "") < 0) {
        errno = ENAMETOOLONG;
        return os_failure(__func__, "mkdtemp");
    }
    if (!fits(size, path, __func__))
        return ZOV_FALSE;
    if (mkdtemp(path) == nullptr)
        return os_failure(__func__, "mkdtemp");
    return store(buffer, size, path, __func__);
}

ZOVBool ZOVOsapiUtility_deleteDirectory(const char *path)
{
    // A slash at the end would follow a link.
    char name[PATH_MAX];
    if (ZOVOsapiUtility_strcpy(name, sizeof name - 1, path) == nullptr) {
        errno = ENAMETOOLONG;
        return os_failure(__func__, "openat");
    }
    for (std::size_t length = std::strlen(name); length > 1 && name[length - 1] == '/'; --length)
        name[length - 1] = '\0';
    return delete_directory(AT_FDCWD, name);
}
