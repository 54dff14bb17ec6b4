// The options of orvimg batch alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvimg
{

enum class PagesMode : uint8_t { All, First, Join };
enum class ExistsMode : uint8_t { Replace, Skip, Newer, Fail };
enum class DamagedMode : uint8_t { Keep, Fail, Aside };

struct BatchOptions {
    std::string files_from;  // empty: none; "-": the standard input
    bool null_separated = false;
    std::vector<std::string> include;
    std::vector<std::string> exclude;
    std::string base;  // what is cut off the front of names of files
    std::string name = "{dir}/{stem}{page:-%04d}.{ext}";
    std::optional<PagesMode> pages;
    int jobs = 0;  // 0: as many as there are processors
    ExistsMode exists = ExistsMode::Replace;
    bool dry_run = false;
    std::string report;
    std::string resume;
    bool retry_failed = false;
    DamagedMode damaged = DamagedMode::Keep;
    std::string damaged_folder;
    int timeout = 300;     // seconds; 0: none
    int64_t memory = 0;    // bytes of data of a worker; 0: no bound
    int max_failures = 0;  // 0: no bound
    int shard = 1;         // this run's share, from 1
    int shards = 1;
    int64_t made_since =
        0;  // seconds since 1970: outputs as young were made by the run that is resumed; 0: none
};

}  // namespace orvimg
