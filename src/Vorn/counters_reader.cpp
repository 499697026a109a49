/// The counters of other processes. What is read may be damaged, or written by another version, on purpose, too: every
/// offset is checked, and nothing is mapped, since a file that shrinks would end a process that has mapped it.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "Vorn/counters_file.h"

namespace Vorn35 {

namespace {

using namespace counters;

constexpr std::size_t c_most_bytes = std::size_t{1} << 20;
constexpr std::size_t c_most_values = 4096;
constexpr std::size_t c_longest_text = 512;

struct Descriptor {
    explicit Descriptor(const std::string& _path)
        // A name may belong to something else than a file; none may block us.
        : fd(::open(_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)) {}
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int fd;
};

/// A failure to read a file, as a sentence.
class Unreadable : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// A copy of a file, whose offsets are checked.
class Copy {
public:
    explicit Copy(int _fd) {
        struct stat state {};
        if (::fstat(_fd, &state) != 0) throw Unreadable(std::strerror(errno));
        const auto size = static_cast<std::size_t>(state.st_size);
        if (size < sizeof(File_header) || size > c_most_bytes) throw Unreadable("cut short or damaged");
        bytes.resize(size);
        constexpr int tries = 100;
        for (int i = 0; i < tries; ++i) {
            const std::uint32_t before = sequence(_fd);
            if (::pread(_fd, bytes.data(), size, 0) != static_cast<ssize_t>(size)) throw Unreadable("cut short");
            if (i == 0) check_header();
            if (before % 2 == 0 && sequence(_fd) == before) return;
        }
        // The process stands still in the middle of writing: its gauges are of two seconds.
    }

    const File_header& header() const { return *reinterpret_cast<const File_header*>(bytes.data()); }

    template <class T>
    T get(std::size_t _at, std::size_t _index = 0) const {
        const std::size_t at = _at + _index * sizeof(T);
        if (at > bytes.size() || bytes.size() - at < sizeof(T)) throw Unreadable("damaged");
        T value;
        std::memcpy(&value, bytes.data() + at, sizeof value);
        return value;
    }
    std::string text(std::size_t _at) const {
        const std::size_t at = std::min(_at, bytes.size());
        const std::string_view rest(bytes.data() + at, std::min(bytes.size() - at, c_longest_text));
        const std::size_t end = rest.find('\0');
        if (end == std::string_view::npos) throw Unreadable("damaged");
        return std::string(rest.substr(0, end));
    }

private:
    std::uint32_t sequence(int _fd) const {
        std::uint32_t value = 0;
        if (::pread(_fd, &value, sizeof value, offsetof(File_header, sequence)) != sizeof value)
            throw Unreadable("cut short");
        return value;
    }
    void check_header() const {
        if (header().version != c_file_version) {
            throw Unreadable("written by another version of the runtime (format " + std::to_string(header().version) +
                             ", here " + std::to_string(c_file_version) + ")");
        }
        if (header().values > c_most_values || header().connections > c_file_connections) throw Unreadable("damaged");
    }

    std::vector<char> bytes;
};

template <std::size_t N>
std::string text_of(const std::array<char, N>& _field) {
    return {_field.begin(), std::find(_field.begin(), _field.end(), '\0')};
}

double seconds_since(std::int64_t _nanoseconds) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::chrono::duration<double> since = now - std::chrono::nanoseconds(_nanoseconds);
    return std::max(0.0, since.count());
}

Process_statistics parse(const Copy& _copy) {
    const File_header& header = _copy.header();
    Process_statistics process;
    process.pid = static_cast<int>(header.pid);
    process.program = text_of(header.program);
    process.version = text_of(header.runtime_version);
    process.profile = text_of(header.profile);
    process.age = seconds_since(header.started);
    process.silence = seconds_since(header.updated);
    for (std::size_t i = 0; i < header.values; ++i) {
        const auto value = _copy.get<File_value>(header.values_at, i);
        process.statistics.push_back(
            {_copy.text(value.name_at), _copy.text(value.labels_at), _copy.text(value.help_at), value.is_gauge != 0,
             value.is_gauge != 0 ? _copy.get<double>(value.value_at)
                                 : static_cast<double>(_copy.get<std::uint64_t>(value.value_at))});
    }
    for (std::size_t i = 0; i < header.connections; ++i) {
        const auto one = _copy.get<File_connection>(header.connections_at, i);
        process.connections.push_back({Addr(one.ip, one.port), one.is_client != 0, one.age, one.received_bytes,
                                       one.sent_bytes, one.queued_messages, one.queued_bytes, one.waiting_messages,
                                       one.waiting_bytes, one.is_paused != 0});
    }
    process.connection_count = header.connection_count;
    return process;
}

bool has_magic(int _fd) {
    struct stat state {};
    if (::fstat(_fd, &state) != 0 || !S_ISREG(state.st_mode)) return false;
    auto magic = c_magic;
    return ::pread(_fd, magic.data(), magic.size(), 0) == static_cast<ssize_t>(magic.size()) && magic == c_magic;
}

/// Whether a living process holds the file.
bool is_held(int _fd) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    return ::fcntl(_fd, F_GETLK, &whole) != 0 || whole.l_type != F_UNLCK;
}

/// Nothing for a file that has gone, or belonged to a dead process.
std::optional<Process_statistics> read_file(const std::string& _path) {
    std::optional<Process_statistics> own;
    if (with_own_file(_path, [&own](int _fd) { own = parse(Copy(_fd)); })) return own;
    const Descriptor file(_path);
    if (file.fd < 0) {
        if (errno == ENOENT) return std::nullopt;
        throw Unreadable(errno == ELOOP ? "not a file" : std::strerror(errno));
    }
    if (!has_magic(file.fd)) throw Unreadable("not a file of counters");
    // The dead are recognised by the lock alone, also those of other versions.
    if (!is_held(file.fd)) {
        ::unlink(_path.c_str());
        return std::nullopt;
    }
    return parse(Copy(file.fd));
}

/// Those of `shared_directories`, and of all users for the superuser.
std::vector<std::string> all_directories() {
    std::vector<std::string> directories = shared_directories();
    std::error_code ignored;
    if (::geteuid() == 0) {
        for (const auto& user : std::filesystem::directory_iterator("/run/user", ignored)) {
            directories.push_back(user.path().string());
        }
    }
    std::ranges::sort(directories);
    directories.erase(std::unique(directories.begin(), directories.end()), directories.end());
    return directories;
}

}  // namespace

Shared_statistics shared_statistics() {
    Shared_statistics found;
    for (const std::string& directory : all_directories()) {
        std::error_code ignored;
        for (const auto& file : std::filesystem::directory_iterator(directory, ignored)) {
            const std::string name = file.path().filename().string();
            if (!name.starts_with(c_file_prefix) || !name.ends_with(c_file_suffix)) continue;
            try {
                auto process = read_file(file.path().string());
                if (!process) continue;
                process->path = file.path().string();
                found.processes.push_back(std::move(*process));
            } catch (const Unreadable& failure) {
                found.problems.push_back(file.path().string() + ": " + failure.what());
            }
        }
    }
    std::ranges::sort(found.processes, {}, &Process_statistics::pid);
    return found;
}

}  // namespace Vorn35
