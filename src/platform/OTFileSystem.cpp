#include "platform/OTFileSystem.h"

#include <cstring>

namespace corvane {

namespace {
// FNV-1a over the journal's bytes: a journal that does not add up is not replayed.
std::uint64_t checksum(std::string_view bytes) {
    std::uint64_t hash = 14695981039346656037ull;
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    return hash;
}

void putNumber(std::string& out, std::uint64_t value) {
    for (int i = 0; i < 8; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

bool takeNumber(std::string_view& in, std::uint64_t& value) {
    if (in.size() < 8) return false;
    value = 0;
    for (int i = 0; i < 8; ++i) value |= std::uint64_t{static_cast<unsigned char>(in[i])} << (8 * i);
    in.remove_prefix(8);
    return true;
}

bool takeText(std::string_view& in, std::string& text) {
    std::uint64_t size = 0;
    if (!takeNumber(in, size) || size > in.size()) return false;
    text.assign(in.substr(0, size));
    in.remove_prefix(size);
    return true;
}
}  // namespace

OTFileSystem::Pending* OTFileSystem::pendingOfThisThread() {
    std::lock_guard lock(mutex_);
    const auto it = pending_.find(std::this_thread::get_id());
    return it == pending_.end() ? nullptr : &it->second;
}

std::optional<std::string> OTFileSystem::readFile(const Path& path, std::size_t maxBytes) {
    // A thread reads what its own open batch wrote.
    if (auto* pending = pendingOfThisThread()) {
        if (const auto it = pending->changes.find(path); it != pending->changes.end()) {
            if (it->second && it->second->size() > maxBytes) return std::nullopt;
            return it->second;
        }
    }
    return read(path, maxBytes);
}

bool OTFileSystem::writeFileAtomically(const Path& path, std::span<const std::string> pieces) {
    if (auto* pending = pendingOfThisThread()) {
        std::string joined;
        for (const auto& piece : pieces) joined += piece;
        pending->changes.insert_or_assign(path, std::move(joined));
        return true;
    }
    return write(path, pieces);
}

bool OTFileSystem::writeFileAtomically(const Path& path, const std::string& bytes) {
    return writeFileAtomically(path, std::span<const std::string>(&bytes, 1));
}

bool OTFileSystem::removeFile(const Path& path) {
    if (auto* pending = pendingOfThisThread()) {
        pending->changes.insert_or_assign(path, std::nullopt);
        return true;
    }
    return remove(path);
}

bool OTFileSystem::moveFile(const Path& from, const Path& to) { return move(from, to); }

std::string OTFileSystem::encode(const Changes& changes) {
    std::string out = kJournalMagic;
    putNumber(out, changes.size());
    for (const auto& [path, content] : changes) {
        const std::string name = path.string();
        putNumber(out, name.size());
        out += name;
        out.push_back(content ? 'w' : 'r');
        if (content) {
            putNumber(out, content->size());
            out += *content;
        }
    }
    putNumber(out, checksum(out));
    return out;
}

std::optional<OTFileSystem::Changes> OTFileSystem::decode(const std::string& bytes) {
    const std::size_t magic = std::strlen(kJournalMagic);
    if (bytes.size() < magic + 16 || bytes.compare(0, magic, kJournalMagic) != 0) return std::nullopt;
    std::string_view sum = std::string_view(bytes).substr(bytes.size() - 8);
    std::uint64_t stored = 0;
    if (!takeNumber(sum, stored) || stored != checksum(std::string_view(bytes).substr(0, bytes.size() - 8))) {
        return std::nullopt;
    }
    std::string_view in = std::string_view(bytes).substr(magic, bytes.size() - magic - 8);
    std::uint64_t count = 0;
    if (!takeNumber(in, count)) return std::nullopt;
    Changes changes;
    for (std::uint64_t i = 0; i < count; ++i) {
        std::string name;
        if (!takeText(in, name) || name.empty() || in.empty()) return std::nullopt;
        const char kind = in.front();
        in.remove_prefix(1);
        if (kind == 'r') {
            changes.insert_or_assign(Path(name), std::nullopt);
            continue;
        }
        std::string content;
        if (kind != 'w' || !takeText(in, content)) return std::nullopt;
        changes.insert_or_assign(Path(name), std::move(content));
    }
    if (!in.empty()) return std::nullopt;
    return changes;
}

bool OTFileSystem::apply(const Changes& changes) {
    bool ok = true;
    for (const auto& [path, content] : changes) {
        if (content) ok = write(path, std::span<const std::string>(&*content, 1)) && ok;
        else remove(path);
    }
    return ok;
}

void OTFileSystem::openJournal(const Path& journal) {
    {
        std::lock_guard lock(mutex_);
        journal_ = journal;
    }
    const auto bytes = read(journal, OTFiles::kMaxReadBytes);
    if (!bytes) return;
    // Replayed until it has all landed: a crash while replaying replays it again next time.
    if (const auto changes = decode(*bytes)) {
        if (!apply(*changes)) return;
    }
    remove(journal);
}

OTFileSystem::Batch::Batch(OTFileSystem& files) : files_(files) {
    std::lock_guard lock(files_.mutex_);
    ++files_.pending_[std::this_thread::get_id()].depth;
}

OTFileSystem::Batch::~Batch() {
    if (!open_) return;
    std::lock_guard lock(files_.mutex_);
    const auto it = files_.pending_.find(std::this_thread::get_id());
    if (it != files_.pending_.end() && --it->second.depth == 0) files_.pending_.erase(it);
}

bool OTFileSystem::Batch::commit() {
    if (!open_) return false;
    open_ = false;
    Changes changes;
    Path journal;
    {
        std::lock_guard lock(files_.mutex_);
        const auto it = files_.pending_.find(std::this_thread::get_id());
        if (it == files_.pending_.end()) return false;
        // An inner batch leaves its changes to the outer one.
        if (--it->second.depth > 0) return true;
        changes = std::move(it->second.changes);
        files_.pending_.erase(it);
        journal = files_.journal_;
    }
    if (changes.empty()) return true;
    files_.batchBegins(changes);
    bool ok = false;
    // One change is atomic by itself; several go through the journal first.
    if (changes.size() == 1 || journal.empty()) {
        ok = files_.apply(changes);
    } else {
        const std::string bytes = encode(changes);
        if (!files_.write(journal, std::span<const std::string>(&bytes, 1))) return false;
        ok = files_.apply(changes);
        // A change that failed stays in the journal, to be tried again at the next launch.
        if (ok) files_.remove(journal);
    }
    if (ok) files_.batchLanded();
    return ok;
}

}  // namespace corvane
