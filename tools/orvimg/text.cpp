#include "text.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace orvimg
{

namespace
{

// Levenshtein distance: single letters to put in, take out or change.
size_t edit_distance(std::string_view a, std::string_view b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string lower(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string either(std::span<const std::string> words)
{
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    }
    return text;
}

std::string nearest(const std::string& word, std::span<const std::string> words)
{
    constexpr size_t kFarthest = 4;
    std::string best;
    size_t best_distance = std::min(kFarthest, word.size());
    for (const std::string& candidate : words) {
        const size_t distance = edit_distance(lower(word), candidate);
        if (distance < best_distance) {
            best_distance = distance;
            best = candidate;
        }
    }
    return best;
}

std::string did_you_mean(const std::string& word, std::span<const std::string> words)
{
    const std::string best = nearest(word, words);
    return best.empty() ? "" : ", did you mean " + best + "?";
}

std::vector<std::string> split_text(std::string_view text, char separator)
{
    std::vector<std::string> parts;
    while (!text.empty()) {
        const size_t end = std::min(text.find(separator), text.size());
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

bool read_number(std::string_view text, int64_t& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool matches_pattern(const std::string& pattern, const std::string& text)
{
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

}  // namespace orvimg
