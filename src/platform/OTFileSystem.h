#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "foundation/OTFiles.h"

namespace corvane {

// The files of the sandbox, behind the environment: the platform's own, or a simulated one that
// can end the process at any write. Writes replace a whole file at once (readers see the old or
// the new content), and writes that belong together can be made in one step: a batch opened on a
// thread collects that thread's writes, and its commit puts them in a journal before touching any
// file, so that a crash leaves all of them or none once the journal is replayed at the next launch.
class OTFileSystem {
public:
    using Path = std::filesystem::path;

    virtual ~OTFileSystem() = default;

    std::optional<std::string> readFile(const Path& path, std::size_t maxBytes = OTFiles::kMaxReadBytes);
    bool writeFileAtomically(const Path& path, std::span<const std::string> pieces);
    bool writeFileAtomically(const Path& path, const std::string& bytes);
    bool removeFile(const Path& path);
    bool moveFile(const Path& from, const Path& to);
    bool createPrivateDirectories(const Path& directory) { return makeDirectories(directory); }
    // Removes what writes cut short left under `root` before `before` (see OTFiles).
    std::size_t sweepTemporaryFiles(const Path& root, std::filesystem::file_time_type before) {
        return sweep(root, before);
    }

    // Where batches keep their journal; a journal left there by a crash is replayed now. Until
    // this is called, a batch writes its files one after another.
    void openJournal(const Path& journal);

    // Collects the writes and removals this thread makes until it is committed (or dropped, which
    // forgets them). Batches nest: the outermost one commits.
    class Batch {
    public:
        explicit Batch(OTFileSystem& files);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
        // False when the journal could not be written: then nothing was changed.
        bool commit();

    private:
        OTFileSystem& files_;
        bool open_ = true;
    };

    static constexpr const char* kJournalMagic = "OTJ1";

protected:
    // A change a batch holds: the new content, or nothing for a removal.
    using Changes = std::map<Path, std::optional<std::string>>;

    virtual std::optional<std::string> read(const Path& path, std::size_t maxBytes) = 0;
    virtual bool write(const Path& path, std::span<const std::string> pieces) = 0;
    virtual bool remove(const Path& path) = 0;
    virtual bool move(const Path& from, const Path& to) = 0;
    virtual bool makeDirectories(const Path& directory) = 0;
    virtual std::size_t sweep(const Path& root, std::filesystem::file_time_type before) = 0;
    // Told as a batch's commit begins and once all of it has landed: a simulation checks that a
    // crash in between leaves all of it or none.
    virtual void batchBegins(const Changes& /*changes*/) {}
    virtual void batchLanded() {}

private:
    struct Pending {
        std::size_t depth = 0;
        Changes changes;
    };

    // The batch of the calling thread, if one is open.
    Pending* pendingOfThisThread();
    bool apply(const Changes& changes);
    static std::string encode(const Changes& changes);
    static std::optional<Changes> decode(const std::string& bytes);

    std::mutex mutex_;
    std::map<std::thread::id, Pending> pending_;
    Path journal_;
};

}  // namespace corvane
