#include "Vorn/counters_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "Vorn/counters.h"
#include "Vorn/mutex.h"
#include "Vorn35/version.h"

namespace Vorn35::counters {

namespace {

std::int64_t clock_nanoseconds() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

template <std::size_t N>
void put_text(std::array<char, N>* _field, std::string_view _text) {
    std::copy_n(_text.data(), std::min(_text.size(), N - 1), _field->data());
}

/// Where the counter with this number in `statistics()` lies in the file.
std::size_t counter_at(std::size_t _number) {
    constexpr std::size_t rows = c_by_kind * c_kinds;
    if (_number < rows) return c_page + _number / c_kinds * sizeof(Row) + _number % c_kinds * sizeof(std::uint64_t);
    return c_page + offsetof(Counters, single) + (_number - rows) * sizeof(std::uint64_t);
}

const char* profile_of(const Runtime_options& _options) {
    const auto is = [&_options](Runtime_options _profile) {
        _profile.listeners = _options.listeners;
        _profile.share_counters = _options.share_counters;
        return _options == _profile;
    };
    if (is(Runtime_options::standard())) return "standard";
    return is(Runtime_options::reliable()) ? "reliable" : "custom";
}

/// The content of a new file.
std::vector<char> make_image(const Runtime_options& _options) {
    const std::vector<Statistic> all = statistics();
    const auto gauges = static_cast<std::size_t>(std::ranges::count(all, true, &Statistic::is_gauge));
    const std::size_t values_at = c_page + sizeof(Counters);
    const std::size_t gauges_at = values_at + (all.size() * sizeof(File_value) + 7) / 8 * 8;
    const std::size_t connections_at = gauges_at + gauges * sizeof(double);
    std::vector<char> image(connections_at + c_file_connections * sizeof(File_connection));

    std::string_view previous;
    std::uint32_t previous_at = 0;
    // Rows of one name follow each other, and share their texts.
    const auto text_at = [&](std::string_view _text) {
        if (_text != previous || previous_at == 0) {
            previous = _text;
            previous_at = static_cast<std::uint32_t>(image.size());
            image.insert(image.end(), _text.begin(), _text.end());
            image.push_back(0);
        }
        return previous_at;
    };
    std::vector<File_value> values(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t gauge = i - (all.size() - gauges);
        values[i].is_gauge = all[i].is_gauge ? 1 : 0;
        values[i].value_at =
            static_cast<std::uint32_t>(all[i].is_gauge ? gauges_at + gauge * sizeof(double) : counter_at(i));
    }
    for (std::size_t i = 0; i < all.size(); ++i) values[i].name_at = text_at(all[i].name);
    for (std::size_t i = 0; i < all.size(); ++i) values[i].labels_at = text_at(all[i].labels);
    for (std::size_t i = 0; i < all.size(); ++i) values[i].help_at = text_at(all[i].help);
    std::memcpy(image.data() + values_at, values.data(), values.size() * sizeof(File_value));
    image.resize((image.size() + c_page - 1) / c_page * c_page);

    auto* const header = new (image.data()) File_header{};
    header->magic = c_magic;
    header->version = c_file_version;
    header->size = static_cast<std::uint32_t>(image.size());
    header->pid = static_cast<std::uint32_t>(::getpid());
    header->values_at = static_cast<std::uint32_t>(values_at);
    header->values = static_cast<std::uint32_t>(all.size());
    header->connections_at = static_cast<std::uint32_t>(connections_at);
    header->started = header->updated = clock_nanoseconds();
    put_text(&header->program, ::program_invocation_short_name);
    put_text(&header->runtime_version, VORN35_VERSION_STRING);
    put_text(&header->profile, profile_of(_options));
    return image;
}

/// Replaces the page of the counters by another one with the same values.
/// @return 0, or an `errno`.
int move_counters(int _flags, int _fd, off_t _at) {
    void* const page = ::mmap(nullptr, c_page, PROT_READ | PROT_WRITE, _flags, _fd, _at);
    if (page == MAP_FAILED) return errno;
    std::memcpy(page, static_cast<const void*>(&g_counters), c_page);
    if (::mremap(page, c_page, c_page, MREMAP_MAYMOVE | MREMAP_FIXED, &g_counters) != MAP_FAILED) return 0;
    const int failure = errno;
    ::munmap(page, c_page);
    return failure;
}

/// The shared file of this process.
class Counters_file {
public:
    /// @throws std::system_error
    Counters_file(const std::string& _directory, const std::vector<char>& _image) : size(_image.size()) {
        // Without a name until it is complete and locked, so that nobody sees less.
        fd = ::open(_directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (fd < 0) fail(errno);
        // A page that the file system cannot provide would end the process when it is touched.
        if (const int failure = ::posix_fallocate(fd, 0, static_cast<off_t>(size)); failure != 0) fail(failure);
        if (::pwrite(fd, _image.data(), size, 0) != static_cast<ssize_t>(size)) fail(errno);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        if (::fcntl(fd, F_SETLK, &whole) != 0) fail(errno);
        void* const mapped = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (mapped == MAP_FAILED) fail(errno);
        base = static_cast<char*>(mapped);
        if (const int failure = move_counters(MAP_SHARED, fd, c_page); failure != 0) fail(failure);
        path = _directory + "/" + c_file_prefix + std::to_string(::getpid()) + "-" + std::to_string(header()->started) +
               c_file_suffix;
        const std::string unnamed = "/proc/self/fd/" + std::to_string(fd);
        if (::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            path.clear();
            fail(errno);
        }
    }
    ~Counters_file() { release(); }
    Counters_file(const Counters_file&) = delete;
    Counters_file& operator=(const Counters_file&) = delete;

    File_header* header() { return reinterpret_cast<File_header*>(base); }
    template <class T>
    T* at(std::size_t _offset) {
        return reinterpret_cast<T*>(base + _offset);
    }
    const std::string& name() const { return path; }
    int descriptor() const { return fd; }

private:
    [[noreturn]] void fail(int _errno) {
        release();
        throw std::system_error(_errno, std::generic_category());
    }
    void release() {
        if (!path.empty()) ::unlink(path.c_str());
        // Nothing can be done about a failure: then the counters go on in the page of a file without a name.
        if (base != nullptr) move_counters(MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base != nullptr) ::munmap(base, size);
        if (fd >= 0) ::close(fd);
    }

    std::size_t size;
    int fd = -1;
    char* base = nullptr;
    std::string path;
};

Mutex<lock_order::counters_file> g_file_lock;
std::atomic<bool> g_is_shared{false};
std::unique_ptr<Counters_file> gp_file VORN35_GUARDED_BY(g_file_lock);

}  // namespace

std::vector<std::string> shared_directories() {
    std::vector<std::string> directories;
    if (const char* const own = std::getenv("XDG_RUNTIME_DIR"); own != nullptr && *own == '/')
        directories.emplace_back(own);
    directories.emplace_back("/dev/shm");
    return directories;
}

void open_counters_file(const Runtime_options& _options) {
    if (!_options.share_counters) return;
    std::string reason = "pages are not of 4,096 bytes";
    if (::sysconf(_SC_PAGESIZE) == static_cast<long>(c_page)) {
        for (const std::string& directory : shared_directories()) {
            try {
                auto file = std::make_unique<Counters_file>(directory, make_image(_options));
                const Lock_guard lock(g_file_lock);
                gp_file = std::move(file);
                g_is_shared = true;
                return;
            } catch (const std::exception& failure) {
                reason = directory + ": " + failure.what();
            }
        }
    }
    std::fprintf(stderr, "vorn35: the counters of this process are not shared: %s\n", reason.c_str());
}

void close_counters_file() {
    g_is_shared = false;
    const Lock_guard lock(g_file_lock);
    gp_file.reset();
}

void write_gauges() {
    if (!g_is_shared) return;
    const std::vector<Statistic> all = statistics();
    std::vector<Connection_statistic> most = connections();
    const std::size_t count = most.size();
    const auto waiting = [](const Connection_statistic& _one) { return _one.queued_bytes + _one.waiting_bytes; };
    std::ranges::stable_sort(most, std::ranges::greater{}, waiting);
    most.resize(std::min(most.size(), c_file_connections));

    const Lock_guard lock(g_file_lock);
    if (gp_file == nullptr) return;
    File_header* const header = gp_file->header();
    header->sequence.fetch_add(1, std::memory_order_acq_rel);
    const auto* const values = gp_file->at<const File_value>(header->values_at);
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].is_gauge) *gp_file->at<double>(values[i].value_at) = all[i].value;
    }
    auto* const table = gp_file->at<File_connection>(header->connections_at);
    for (std::size_t i = 0; i < most.size(); ++i) {
        const Connection_statistic& one = most[i];
        table[i] = {one.peer.ip,      one.peer.port,        one.is_client,    one.is_paused,
                    one.age,          one.received_bytes,   one.sent_bytes,   one.queued_messages,
                    one.queued_bytes, one.waiting_messages, one.waiting_bytes};
    }
    header->connections = static_cast<std::uint32_t>(most.size());
    header->connection_count = count;
    header->updated = clock_nanoseconds();
    header->sequence.fetch_add(1, std::memory_order_acq_rel);
}

bool with_own_file(const std::string& _path, const std::function<void(int)>& _read) {
    const Lock_guard lock(g_file_lock);
    if (gp_file == nullptr || gp_file->name() != _path) return false;
    _read(gp_file->descriptor());
    return true;
}

}  // namespace Vorn35::counters
