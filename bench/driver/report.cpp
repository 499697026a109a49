#include "driver/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace bench {

namespace {

struct Column {
    const char* figure;
    const char* title;
};
// In the order of the table; columns without any figure are left out.
constexpr Column c_columns[] = {
    {"p50_us", "p50 us"},
    {"p99_us", "p99 us"},
    {"p999_us", "p99.9 us"},
    {"rate", "messages/s"},
    {"publisher", "posts/s"},
    {"lost_percent", "lost %"},
    {"failed_ppm", "failed ppm"},
    {"cpu_us", "cpu us/msg"},
    {"post_us", "publisher cpu us/post"},
    {"switches", "switches/msg"},
    {"syscalls", "syscalls/msg"},
    {"kib_per_connection", "KiB/connection"},
    {"crowd_us", "us to add one"},
    {"cpu_us_per_connection_s", "cpu us/connection and s"},
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

std::string number(double value) {
    char text[32];
    const double size = std::fabs(value);
    std::snprintf(text, sizeof text, size >= 100 || size == 0 ? "%.0f" : size >= 10 ? "%.1f" : "%.2f", value);
    return text;
}

std::string median_of(const Rounds& rounds, const std::string& figure) {
    std::vector<double> values;
    for (const auto& [round, figures] : rounds) {
        if (const auto found = figures.find(figure); found != figures.end()) values.push_back(found->second);
    }
    return values.empty() ? "" : number(median(values));
}

std::string ratio(const Rounds& rounds, const Rounds& own, const std::string& figure) {
    std::vector<double> values;
    for (const auto& [round, figures] : rounds) {
        const auto mine = own.find(round);
        if (mine == own.end() || !figures.contains(figure) || !mine->second.contains(figure)) continue;
        if (mine->second.at(figure) > 0) values.push_back(figures.at(figure) / mine->second.at(figure));
    }
    return values.empty() ? "" : number(median(values));
}

using Line = std::vector<std::string>;

std::string aligned(const std::vector<Line>& lines) {
    std::vector<std::size_t> widths(lines[0].size());
    for (const Line& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
    }
    std::string text;
    for (std::size_t n = 0; n < lines.size(); ++n) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const std::string pad(widths[i] - lines[n][i].size(), ' ');
            text.append("| ").append(i == 0 ? lines[n][i] + pad : pad + lines[n][i]).append(" ");
        }
        text.append("|\n");
        if (n > 0) continue;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            text.append("|").append(widths[i] + 1, '-').append(i == 0 ? "-" : ":");
        }
        text.append("|\n");
    }
    return text;
}

}  // namespace

std::string table(const Case& c, const Results& results, const std::vector<std::string>& names,
                  const std::string& base) {
    std::vector<Column> columns;
    std::copy_if(std::begin(c_columns), std::end(c_columns), std::back_inserter(columns), [&](const Column& column) {
        return std::any_of(results.begin(), results.end(),
                           [&](const auto& result) { return !median_of(result.second, column.figure).empty(); });
    });
    std::vector<std::string> ratios{c.key};
    if (c.key != "cpu_us" && c.job.kind != "idle") ratios.emplace_back("cpu_us");
    if (c.job.kind == "idle") ratios.emplace_back("kib_per_connection");
    const auto own = results.find(base);
    if (own == results.end()) ratios.clear();

    std::vector<Line> lines(1);
    lines[0].emplace_back("");
    for (const Column& column : columns) lines[0].emplace_back(column.title);
    for (const std::string& figure : ratios) {
        const auto column = std::find_if(std::begin(c_columns), std::end(c_columns),
                                         [&](const Column& candidate) { return figure == candidate.figure; });
        lines[0].push_back(std::string(column->title) + " / " + base);
    }
    for (const std::string& name : names) {
        const auto found = results.find(name);
        if (found == results.end()) continue;
        Line line{name};
        for (const Column& column : columns) line.push_back(median_of(found->second, column.figure));
        for (const std::string& figure : ratios) line.push_back(ratio(found->second, own->second, figure));
        lines.push_back(line);
    }
    std::string text = "### ";
    return text.append(c.workload).append(" ").append(c.title).append("\n\n").append(aligned(lines)).append("\n");
}

}  // namespace bench
