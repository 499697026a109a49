/// @file
/// The program `bench`: runs every case with every peer that was built, in rounds, and prints the tables. See `usage`.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "driver/report.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr const char* c_usage = R"(bench [options]    (in a lab: ./dev bench does it)
  --quick          a choice of cases, shorter: under 2 minutes
  --rounds N       rounds; 3 if not said
  --seconds S      length of each measurement
  --only TEXT,...  only cases whose title begins with one of the texts, for instance W1 or "W1 blocking call, 4 B"
  --peers A,...    only these contenders
  --no-syscalls    without the pass that counts system calls
  --list           say what there is
  --out FOLDER     where results.jsonl and results.md go; the present folder if not said
)";

// In the order of the tables.
const std::vector<std::string> c_peers{
    "raw", "handoff", "vorn35", "vorn35-reliable", "vorn35-typed", "zeromq", "nng", "grpc", "capnp", "dds", "lcm"};

constexpr const char* c_own = "vorn35";
/// The same program in the other profile.
constexpr const char* c_own_reliable = "vorn35-reliable";

struct Options {
    bool quick = false;
    bool list = false;
    bool syscalls = true;
    int rounds = 3;
    double seconds = 0;  ///< 0: those of the case.
    std::vector<std::string> only;
    std::vector<std::string> peers = c_peers;
    fs::path out = ".";
};

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) parts.push_back(part);
    // A title has commas itself: "W1 blocking call, 4 B" is one text.
    for (std::size_t i = 1; i < parts.size();) {
        if (parts[i][0] != ' ') {
            ++i;
            continue;
        }
        parts[i - 1] += "," + parts[i];
        parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return parts;
}

Options parse_options(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = [&]() -> std::string {
            if (++i == argc) {
                std::fputs(c_usage, stderr);
                std::exit(2);
            }
            return argv[i];
        };
        if (word == "--quick") {
            options.quick = true;
        } else if (word == "--list") {
            options.list = true;
        } else if (word == "--no-syscalls") {
            options.syscalls = false;
        } else if (word == "--rounds") {
            options.rounds = std::stoi(value());
        } else if (word == "--seconds") {
            options.seconds = std::stod(value());
        } else if (word == "--only") {
            options.only = split(value());
        } else if (word == "--peers") {
            options.peers = split(value());
        } else if (word == "--out") {
            options.out = value();
        } else {
            std::fputs(c_usage, word == "--help" ? stdout : stderr);
            std::exit(word == "--help" ? 0 : 2);
        }
    }
    return options;
}

/// What a command prints, if it succeeds.
/// @param code receives its exit code.
std::string output_of(const std::string& command, int* code) {
    std::string text;
    FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return text;
    char buffer[4096];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) text += buffer;
    *code = WEXITSTATUS(pclose(pipe));
    return text;
}

constexpr int c_absent = 3;  // the exit code of a peer that cannot do a job

/// One run of one peer. Nothing: it does not take part, or it failed, which is said.
std::optional<Figures> run(const std::string& program, const Job& job, int* code_ = nullptr) {
    const std::string command =
        "timeout -k 1 " + std::to_string(60 + static_cast<int>(job.seconds)) + " " + program + " " + to_words(job);
    int code = 0;
    const std::string text = output_of(command, &code);
    if (code_ != nullptr) *code_ = code;
    if (code == 0) return parse_figures(text);
    if (code != c_absent && code != 4) std::fprintf(stderr, "bench: failed with %d: %s\n", code, command.c_str());
    return {};
}

bool is_wanted(const Options& options, const Case& c) {
    const std::string name = c.workload + " " + c.title;
    return options.only.empty() || std::any_of(options.only.begin(), options.only.end(),
                                               [&](const std::string& text) { return name.starts_with(text); });
}

class Bench {
public:
    Bench(Options options, fs::path programs)
        : options_(std::move(options)), programs_(std::move(programs)), cases_(all_cases(options_.quick)) {
        std::erase_if(cases_, [this](const Case& c) { return !is_wanted(options_, c); });
        for (Case& c : cases_) {
            if (options_.seconds <= 0) continue;
            c.job.seconds = options_.seconds;
            for (Variant& variant : c.variants) variant.job.seconds = options_.seconds;
        }
        for (const std::string& peer : options_.peers) {
            if (fs::exists(program(peer))) {
                peers_.push_back(peer);
            } else {
                std::printf("%s was not built: its library is not installed.\n", peer.c_str());
            }
        }
    }

    int go() {
        if (options_.list) {
            for (const Case& c : cases_) std::printf("%s %s\n", c.workload.c_str(), c.title.c_str());
            return 0;
        }
        fs::create_directories(options_.out);
        std::ofstream(options_.out / "results.jsonl").close();
        for (int round = 0; round < options_.rounds; ++round) {
            for (std::size_t n = 0; n < cases_.size(); ++n) take(n, round);
        }
        if (options_.syscalls) count_syscalls();

        std::ofstream file(options_.out / "results.md");
        for (std::size_t n = 0; n < cases_.size(); ++n) {
            const std::vector<std::string> names = names_of(cases_[n]);
            const std::string text =
                table(cases_[n], results_[n], names, cases_[n].variants.empty() ? c_own : names[0]);
            std::fputs(text.c_str(), stdout);
            file << text;
        }
        return 0;
    }

private:
    fs::path program(const std::string& peer) const {
        return programs_ / ("peer_" + (peer == c_own_reliable ? c_own : peer));
    }
    std::string command(const std::string& peer) const {
        return (peer == c_own_reliable ? "env VORN35_PROFILE=reliable " : "") + program(peer).string();
    }

    /// One case in one round. Who comes first changes with the round.
    void take(std::size_t n, int round) {
        const Case& c = cases_[n];
        if (round >= c.rounds) return;
        if (isatty(STDERR_FILENO) != 0) {
            std::fprintf(stderr, "\rround %d of %d, case %zu of %zu  ", round + 1, options_.rounds, n + 1,
                         cases_.size());
        }
        const std::vector<std::string> names = names_of(c);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const std::string& name = names[(i + static_cast<std::size_t>(round)) % names.size()];
            if (absent_.contains({n, name})) continue;
            const auto variant = std::find_if(c.variants.begin(), c.variants.end(),
                                              [&](const Variant& candidate) { return candidate.name == name; });
            const bool is_peer = variant == c.variants.end();
            int code = 0;
            const auto figures = run(command(is_peer ? name : c_own), is_peer ? c.job : variant->job, &code);
            if (code == c_absent) absent_.emplace(n, name);
            if (!figures) continue;
            results_[n][name][round] = *figures;
            log(c, name, round, *figures);
        }
    }

    /// The lines of a case's table.
    std::vector<std::string> names_of(const Case& c) const {
        if (c.variants.empty()) return peers_;
        std::vector<std::string> names;
        for (const Variant& variant : c.variants) names.push_back(variant.name);
        return names;
    }

    /// In a pass of its own, since counting slows them down.
    void count_syscalls() {
        for (std::size_t n = 0; n < cases_.size(); ++n) {
            Job job = cases_[n].job;
            if (!cases_[n].syscalls) continue;
            job.syscalls = true;
            for (auto& [peer, rounds] : results_[n]) {
                const auto figures = run(command(peer), job);
                if (!figures) {
                    std::printf("The kernel does not let system calls be counted here.\n");
                    return;
                }
                const Figures only{{"syscalls", figures->at("syscalls")}};
                rounds.begin()->second.merge(Figures(only));
                log(cases_[n], peer, -1, only);
            }
        }
    }

    void log(const Case& c, const std::string& peer, int round, const Figures& figures) const {
        std::ofstream file(options_.out / "results.jsonl", std::ios::app);
        file.precision(9);
        file << R"({"workload":")" << c.workload << R"(","case":")" << c.title << R"(","peer":")" << peer
             << R"(","round":)" << round;
        for (const auto& [name, value] : figures) file << ",\"" << name << "\":" << value;
        file << "}\n";
    }

    Options options_;
    fs::path programs_;
    std::vector<Case> cases_;
    std::vector<std::string> peers_;
    std::map<std::size_t, Results> results_;                ///< By the number of the case.
    std::set<std::pair<std::size_t, std::string>> absent_;  ///< Who does not take part in which case.
};

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    return bench::Bench(bench::parse_options(argc, argv), programs).go();
}
