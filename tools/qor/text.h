// Small texts: figures for people, the reasons of the system, the word that someone may have meant.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// 1234567 as "1,234,567".
std::string grouped(std::uint64_t value);

/// A number of things: "1 byte", "1,000 bytes".
std::string counted(std::uint64_t number, std::string_view thing);

/// What the system calls the error `number`. Empty for 0.
std::string reasonOf(int number);

/// The same of an error with a file, followed by what to do about it where that is clear.
std::string reasonAndAdvice(int number);

/// The word of `words` that `typed` was probably meant to be; empty if none is near.
std::string nearest(std::string_view typed, const std::vector<std::string>& words);

/// `text` as the content or an attribute of an XML element.
std::string escapedXml(std::string_view text);

}  // namespace tool
