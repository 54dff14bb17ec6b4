// Small helpers for words and numbers that people type.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvimg
{

std::string lower(std::string text);

// "a, b or c".
std::string either(std::span<const std::string> words);

// The one of `words` that is nearest to `word` by letters put in, taken out or changed; empty where none
// is near.
std::string nearest(const std::string& word, std::span<const std::string> words);

// ", did you mean WORD?" or nothing.
std::string did_you_mean(const std::string& word, std::span<const std::string> words);

// The parts of `text` between the separators; none of an empty text.
std::vector<std::string> split_text(std::string_view text, char separator);

// All of `text` as one decimal number; false for anything else, as " 5", "0x10" or "5 ".
bool read_number(std::string_view text, int64_t& number);

// A shell pattern of *, ? and [a-z] against all of `text`; * matches / too.
bool matches_pattern(const std::string& pattern, const std::string& text);

}  // namespace orvimg
