// A sink that records into a WAV file. The header is brought up to date with each write, so that
// the file is whole at any time, whatever becomes of the process.

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pacer.h"
#include "result.h"
#include "sink.h"

namespace tonelink::host {

namespace {

// The sizes in a WAV header are 32 bits wide; some room for the header itself.
constexpr sf_count_t kMostSamples = (0xFFFFFFFF - 4096) / 2;

failure cannot(const std::string &what, const std::string &path, const std::string &why)
{
    return {kDeviceNotOpened, "cannot " + what + " the sound file \"" + path + "\": " + why};
}

/// A file that is open. One that was made for it goes again when not even a header found room.
class descriptor {
public:
    explicit descriptor(const std::string &path) : path_{path}
    {
        constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC;
        number_ = open(path.c_str(), kFlags | O_EXCL, 0666);
        is_new_ = number_ >= 0;
        if (number_ < 0 && errno == EEXIST) number_ = open(path.c_str(), kFlags, 0666);
        if (number_ < 0) throw cannot("open", path, std::strerror(errno));
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor()
    {
        struct stat status {};
        if (is_new_ && fstat(number_, &status) == 0 && status.st_size == 0) unlink(path_.c_str());
        close(number_);
    }

    int number() const { return number_; }

private:
    std::string path_;
    int number_ = -1;
    bool is_new_ = false;
};

/// Empties a file that was there. It keeps its permissions, but for set-id bits.
bool empty_file(int number)
{
    constexpr mode_t kSetId = S_ISUID | S_ISGID;
    struct stat status {};
    if (fstat(number, &status) != 0 || ftruncate(number, 0) != 0) return false;
    return (status.st_mode & kSetId) == 0 || fchmod(number, status.st_mode & 07777 & ~kSetId) == 0;
}

/// One recording at a time into a file; the later ones of a process go behind the first.
class recording_slot {
public:
    recording_slot(const descriptor &file, const std::string &path)
    {
        struct stat status {};
        if (fstat(file.number(), &status) != 0) throw cannot("open", path, std::strerror(errno));
        if (!S_ISREG(status.st_mode)) throw cannot("open", path, "it is not a file");
        key_ = {status.st_dev, status.st_ino};

        std::error_code unresolved;
        auto full_path = std::filesystem::canonical(path, unresolved);
        if (unresolved) throw cannot("open", path, unresolved.message());

        const std::lock_guard lock{mutex()};
        auto &[is_busy, recorded_path] = slots()[key_];
        if (is_busy)
            throw failure{kDeviceNotClosed,
                          "the sound file \"" + path + "\" is being written by another output"};
        // Another name is another file, even if it has the number of one that is gone.
        appends_ = recorded_path == full_path && status.st_size > 0;
        recorded_path = std::move(full_path);
        is_busy = true;
    }
    recording_slot(const recording_slot &) = delete;
    recording_slot &operator=(const recording_slot &) = delete;
    ~recording_slot()
    {
        const std::lock_guard lock{mutex()};
        slots()[key_].is_busy = false;
    }

    /// Whether an earlier output of this process has recorded into the file.
    bool appends() const { return appends_; }

private:
    using file_key = std::pair<dev_t, ino_t>;

    struct slot {
        bool is_busy = false;
        std::filesystem::path path;
    };

    static std::mutex &mutex()
    {
        static std::mutex only;
        return only;
    }

    // The files that the process has recorded into. Never destroyed: an output may be open while
    // the process ends.
    static std::map<file_key, slot> &slots()
    {
        static auto &only = *new std::map<file_key, slot>;
        return only;
    }

    file_key key_;
    bool appends_ = false;
};

class wav_sink final : public sink {
public:
    wav_sink(const std::string &path, int rate)
        : path_{path}, descriptor_{path}, slot_{descriptor_, path}, pacer_{rate}
    {
        SF_INFO info{};
        if (!slot_.appends()) {
            if (!empty_file(descriptor_.number())) throw cannot("open", path, std::strerror(errno));
            info.samplerate = rate;
            info.channels = 1;
            info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        }
        open_file(path, info);
        if (info.samplerate != rate || info.channels != 1 ||
            info.format != (SF_FORMAT_WAV | SF_FORMAT_PCM_16))
            throw cannot("append to", path,
                         "it is not mono at " + std::to_string(rate) + " Hz in 16 bits");
        sf_command(file_.get(), SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
        samples_ = slot_.appends() ? sf_seek(file_.get(), 0, SEEK_END) : 0;
        sf_command(file_.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
    }

    void play(std::span<const std::int16_t> samples) override
    {
        const auto count = static_cast<sf_count_t>(samples.size());
        if (samples_ + count > kMostSamples) throw cannot("write", path_, "it is full (4 GiB)");
        errno = 0;
        if (sf_write_short(file_.get(), samples.data(), count) != count)
            throw cannot("write", path_, errno != 0 ? std::strerror(errno) : "incomplete write");
        samples_ += count;
        pacer_.take(samples.size());
    }

    void drain() noexcept override { pacer_.drain(); }

private:
    struct closer {
        void operator()(SNDFILE *file) const { sf_close(file); }
    };

    void open_file(const std::string &path, SF_INFO &info)
    {
        static std::mutex opening; // why it fails, libsndfile says once for the whole process
        const std::lock_guard lock{opening};
        const int mode = slot_.appends() ? SFM_RDWR : SFM_WRITE;
        // A descriptor of its own: what does not open it closes, whatever it is told.
        const int own = fcntl(descriptor_.number(), F_DUPFD_CLOEXEC, 0);
        if (own < 0) throw cannot("open", path, std::strerror(errno));
        file_.reset(sf_open_fd(own, mode, &info, SF_TRUE));
        if (file_ == nullptr) throw cannot("open", path, sf_strerror(nullptr));
    }

    std::string path_;
    descriptor descriptor_;
    recording_slot slot_;
    pacer pacer_;
    std::unique_ptr<SNDFILE, closer> file_; // closed before the slot is free again
    sf_count_t samples_ = 0;
};

} // namespace

std::unique_ptr<sink> open_wav_sink(const std::string &path, int rate)
{
    if (path == "-") return open_wav_stream(rate);
    return std::make_unique<wav_sink>(path, rate);
}

} // namespace tonelink::host
