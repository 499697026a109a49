#include "harness/job.h"

#include <sstream>
#include <stdexcept>

namespace bench {

Job parse_job(int argc, char** argv) {
    Job job;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto split = word.find('=');
        const std::string key = word.substr(0, split);
        const std::string value = split == std::string::npos ? "" : word.substr(split + 1);
        if (key == "kind") {
            job.kind = value;
        } else if (key == "size") {
            job.size = std::stoul(value);
        } else if (key == "window") {
            job.window = static_cast<unsigned>(std::stoul(value));
        } else if (key == "clients") {
            job.clients = static_cast<unsigned>(std::stoul(value));
        } else if (key == "pinned") {
            job.pinned = value == "1";
        } else if (key == "by_name") {
            job.by_name = value == "1";
        } else if (key == "syscalls") {
            job.syscalls = value == "1";
        } else if (key == "crowd_of") {
            job.crowd_of = value;
        } else if (key == "crowd") {
            job.crowd = static_cast<unsigned>(std::stoul(value));
        } else if (key == "burst") {
            job.burst = static_cast<unsigned>(std::stoul(value));
        } else if (key == "rate") {
            job.rate = std::stod(value);
        } else if (key == "seconds") {
            job.seconds = std::stod(value);
        } else if (key == "most") {
            job.most = std::stoul(value);
        } else {
            throw std::invalid_argument("unknown key: " + key);
        }
    }
    return job;
}

std::string to_words(const Job& job) {
    std::ostringstream text;
    text << "kind=" << job.kind << " size=" << job.size << " window=" << job.window << " clients=" << job.clients
         << " pinned=" << job.pinned << " by_name=" << job.by_name << " burst=" << job.burst << " rate=" << job.rate
         << " crowd_of=" << job.crowd_of << " crowd=" << job.crowd << " syscalls=" << job.syscalls
         << " seconds=" << job.seconds << " most=" << job.most;
    return text.str();
}

std::string to_words(const Figures& figures) {
    std::ostringstream text;
    text.precision(9);
    for (const auto& [name, value] : figures) text << name << '=' << value << ' ';
    return text.str();
}

Figures parse_figures(const std::string& line) {
    Figures figures;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
        const auto split = word.find('=');
        if (split != std::string::npos) figures[word.substr(0, split)] = std::stod(word.substr(split + 1));
    }
    return figures;
}

}  // namespace bench
