// The lines of a batch's report, and orvimg report, which adds up reports.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "batch.h"
#include "commands.h"
#include "process.h"
#include "report.h"

namespace orvimg
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr size_t kSlowest = 10;

std::string text_of(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Names are any bytes, JSON is UTF-8: a name that is none is told in hexadecimal digits beside.
std::string hex_of_odd_name(const std::string& name)
{
    if (Json::parse(text_of(Json(name)), nullptr, false) == Json(name)) {
        return "";
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const char c : name) {
        hex += {kDigits[static_cast<uint8_t>(c) >> 4], kDigits[static_cast<uint8_t>(c) & 15]};
    }
    return hex;
}

std::string from_hex(const std::string& hex)
{
    std::string name;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        name += static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16));
    }
    return name;
}

// The value of a field where it has the type of `otherwise`.
template <typename Value>
Value field(const Json& json, const char* name, Value otherwise)
{
    const auto found = json.find(name);
    if (found == json.end()) {
        return otherwise;
    }
    const bool fits = std::is_arithmetic_v<Value> ? found->is_number() : found->is_string();
    return fits ? found->template get<Value>() : otherwise;
}

bool result_of(const std::string& line, JobResult& result)
{
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object() || !json.contains("status") || !json.contains("input")) {
        return false;
    }
    const std::string hex = field<std::string>(json, "input_hex", "");
    result.input = hex.empty() ? field<std::string>(json, "input", "") : from_hex(hex);
    result.format = field<std::string>(json, "format", "unknown");
    result.message = field<std::string>(json, "message", "");
    result.code = field(json, "code", 0);
    result.pages = field(json, "pages", 0);
    result.bytes_in = field(json, "bytes_in", int64_t{0});
    result.bytes_out = field(json, "bytes_out", int64_t{0});
    result.milliseconds = field(json, "ms", 0.0);
    const std::string status = field<std::string>(json, "status", "");
    for (const JobStatus known : {JobStatus::Ok, JobStatus::Damaged, JobStatus::Failed, JobStatus::Skipped}) {
        if (status == status_name(known)) {
            result.status = known;
            return true;
        }
    }
    return false;
}

// --- The report command ---

struct Totals {
    int64_t counts[4] = {};
    int64_t bytes_in = 0;
    int64_t bytes_out = 0;
    double milliseconds = 0;

    void add(const JobResult& result)
    {
        ++counts[static_cast<size_t>(result.status)];
        bytes_in += result.bytes_in;
        bytes_out += result.bytes_out;
        milliseconds += result.milliseconds;
    }
    int64_t all() const { return counts[0] + counts[1] + counts[2] + counts[3]; }
};

struct Sum {
    std::vector<JobResult> results;  // the last line of each input
    std::map<std::string, Totals> by_format;
    Totals all;
};

Sum add_up(const std::vector<std::string>& names)
{
    Sum sum;
    std::unordered_map<std::string, size_t> place;
    for (const std::string& name : names) {
        for (JobResult& result : read_report(name)) {
            const auto [at, is_new] = place.emplace(result.input, sum.results.size());
            if (is_new) {
                sum.results.push_back(std::move(result));
            } else {
                sum.results[at->second] = std::move(result);
            }
        }
    }
    for (const JobResult& result : sum.results) {
        sum.by_format[result.format.empty() ? "unknown" : result.format].add(result);
        sum.all.add(result);
    }
    return sum;
}

std::vector<const JobResult*> slowest_of(const Sum& sum)
{
    std::vector<const JobResult*> slowest;
    for (const JobResult& result : sum.results) {
        slowest.push_back(&result);
    }
    const size_t count = std::min(kSlowest, slowest.size());
    std::ranges::partial_sort(slowest, slowest.begin() + static_cast<ptrdiff_t>(count),
                              [](auto* a, auto* b) { return a->milliseconds > b->milliseconds; });
    slowest.resize(count);
    return slowest;
}

void print_row(const std::string& name, const Totals& totals)
{
    std::printf("%-14s %9lld %9lld %9lld %9lld %9lld %10.1f %10.1f %9.1f\n", name.c_str(),
                static_cast<long long>(totals.all()), static_cast<long long>(totals.counts[0]),
                static_cast<long long>(totals.counts[1]), static_cast<long long>(totals.counts[2]),
                static_cast<long long>(totals.counts[3]), static_cast<double>(totals.bytes_in) / 1e6,
                static_cast<double>(totals.bytes_out) / 1e6, totals.milliseconds / 1e3);
}

void print_text(const Sum& sum)
{
    std::printf("%-14s %9s %9s %9s %9s %9s %10s %10s %9s\n", "FORMAT", "INPUTS", "OK", "DAMAGED", "FAILED",
                "SKIPPED", "MB IN", "MB OUT", "SECONDS");
    for (const auto& [format, totals] : sum.by_format) {
        print_row(format, totals);
    }
    print_row("all", sum.all);
    std::puts("\nSlowest:");
    for (const JobResult* const result : slowest_of(sum)) {
        std::printf("  %10.1f ms  %s\n", result->milliseconds, result->input.c_str());
    }
    for (const JobStatus status : {JobStatus::Failed, JobStatus::Damaged}) {
        std::printf("\n%s:%s\n", status == JobStatus::Failed ? "Failed" : "Damaged",
                    sum.all.counts[static_cast<size_t>(status)] == 0 ? " none" : "");
        for (const JobResult& result : sum.results) {
            if (result.status == status) {
                std::printf("  %s: %s\n", result.input.c_str(), result.message.c_str());
            }
        }
    }
}

Json json_of(const Totals& totals)
{
    return {{"inputs", totals.all()},        {"ok", totals.counts[0]},      {"damaged", totals.counts[1]},
            {"failed", totals.counts[2]},    {"skipped", totals.counts[3]}, {"bytes_in", totals.bytes_in},
            {"bytes_out", totals.bytes_out}, {"ms", totals.milliseconds}};
}

void print_json(const Sum& sum)
{
    Json json = json_of(sum.all);
    for (const auto& [format, totals] : sum.by_format) {
        json["formats"][format] = json_of(totals);
    }
    json["slowest"] = Json::array();
    for (const JobResult* const result : slowest_of(sum)) {
        json["slowest"].push_back({{"input", result->input}, {"ms", result->milliseconds}});
    }
    json["failures"] = Json::array();
    for (const JobResult& result : sum.results) {
        if (result.status == JobStatus::Failed) {
            json["failures"].push_back(
                {{"input", result.input}, {"code", result.code}, {"message", result.message}});
        }
    }
    std::printf("%s\n", text_of(json).c_str());
}

}  // namespace

std::string line_of(const JobResult& result)
{
    Json json = {{"input", result.input}};
    const std::string hex = hex_of_odd_name(result.input);
    if (!hex.empty()) {
        json["input_hex"] = hex;
    }
    json["outputs"] = result.outputs;
    json["status"] = status_name(result.status);
    json["format"] = result.format.empty() ? "unknown" : result.format;
    json["pages"] = result.pages;
    json["rows_missing"] = result.rows_missing;
    json["rows_repaired"] = result.rows_repaired;
    json["code"] = result.code;
    json["message"] = result.message;
    json["bytes_in"] = result.bytes_in;
    json["bytes_out"] = result.bytes_out;
    json["ms"] = static_cast<double>(static_cast<int64_t>(result.milliseconds * 1000)) / 1000;
    return text_of(json) + "\n";
}

std::string message_of(const std::string& line)
{
    JobResult result;
    return result_of(line, result) ? result.message : line;
}

std::vector<JobResult> read_report(const std::string& name)
{
    const int descriptor =
        name == "-" ? dup(STDIN_FILENO) : openat(start_folder(), name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw Failure("cannot read " + name, system_words(), ORV_UNREADABLE);
    }
    std::ifstream file("/proc/self/fd/" + std::to_string(descriptor));
    std::vector<JobResult> results;
    for (std::string line; std::getline(file, line);) {
        JobResult result;
        if (result_of(line, result)) {
            results.push_back(std::move(result));
        }
    }
    close(descriptor);
    return results;
}

// The exit status is the one of the runs taken together.
int run_report(const Options& options)
{
    const Sum sum = add_up(options.inputs);
    if (options.json) {
        print_json(sum);
    } else {
        print_text(sum);
    }
    const int64_t failed = sum.all.counts[static_cast<size_t>(JobStatus::Failed)];
    const int64_t damaged = sum.all.counts[static_cast<size_t>(JobStatus::Damaged)];
    return failed > 0 ? kExitFailure : damaged > 0 ? kExitDamaged : kExitDone;
}

}  // namespace orvimg
