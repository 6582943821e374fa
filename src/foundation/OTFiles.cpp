#include "foundation/OTFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string_view>
#include <system_error>

namespace corvane {

namespace fs = std::filesystem;

bool OTFiles::writeFileAtomically(const fs::path& path, const std::string& bytes) {
    return writeFileAtomically(path, std::span<const std::string>(&bytes, 1));
}

bool OTFiles::writeFileAtomically(const fs::path& path, std::span<const std::string> pieces) {
    static std::atomic<unsigned> counter{0};
    std::error_code ec;
    if (path.has_parent_path()) createPrivateDirectories(path.parent_path());
    const fs::path temporary =
        path.string() + ".tmp" + std::to_string(::getpid()) + "." + std::to_string(counter.fetch_add(1));
    // Opened exclusively, so a leftover or planted file of that name is never written through.
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kFileMode);
    if (fd < 0) return false;
    bool ok = true;
    for (const auto& bytes : pieces) {
        std::size_t written = 0;
        while (ok && written < bytes.size()) {
            const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
            if (n < 0) {
                if (errno == EINTR) continue;
                ok = false;
                break;
            }
            written += static_cast<std::size_t>(n);
        }
    }
    // The content on disk before the rename, and the rename on disk after it (the folder's entry),
    // so that even a power cut leaves the old content or the new, never a part-written file.
    if (ok && ::fsync(fd) != 0) ok = false;
    if (::close(fd) != 0) ok = false;
    if (ok && ::rename(temporary.c_str(), path.c_str()) != 0) ok = false;
    if (!ok) {
        fs::remove(temporary, ec);
        return false;
    }
    // The new content is in place whatever this says; it only makes the rename durable sooner.
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    if (const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dir >= 0) {
        (void)::fsync(dir);
        ::close(dir);
    }
    return true;
}

bool OTFiles::isTemporaryName(const std::string& name) {
    const auto isDigits = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    };
    const auto at = name.rfind(".tmp");
    if (at == std::string::npos || at == 0) return false;
    const std::string_view rest = std::string_view(name).substr(at + 4);
    const auto dot = rest.find('.');
    return dot != std::string_view::npos && isDigits(rest.substr(0, dot)) && isDigits(rest.substr(dot + 1));
}

std::size_t OTFiles::sweepTemporaryFiles(const fs::path& root, fs::file_time_type before) {
    std::size_t removed = 0;
    std::error_code ec;
    const fs::path scratch = root / "tmp";
    for (fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec)) {
        const auto& entry = *it;
        std::error_code entryError;
        if (!entry.is_regular_file(entryError) || entry.is_symlink(entryError)) continue;
        const bool leftover =
            isTemporaryName(entry.path().filename().string()) || entry.path().parent_path() == scratch;
        if (!leftover) continue;
        const auto written = entry.last_write_time(entryError);
        if (entryError || written >= before) continue;
        if (fs::remove(entry.path(), entryError)) ++removed;
    }
    return removed;
}

bool OTFiles::createPrivateDirectories(const fs::path& directory) {
    std::error_code ec;
    if (fs::is_directory(directory, ec)) return true;
    if (directory.has_parent_path() && directory.parent_path() != directory) {
        createPrivateDirectories(directory.parent_path());
    }
    if (::mkdir(directory.c_str(), kDirectoryMode) == 0 || errno == EEXIST) return fs::is_directory(directory, ec);
    return false;
}

std::optional<std::string> OTFiles::readFile(const fs::path& path, std::size_t maxBytes) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return std::nullopt;
    const auto size = fs::file_size(path, ec);
    if (ec || size > maxBytes) return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(size), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
}

}  // namespace corvane
