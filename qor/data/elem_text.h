// One scalar of an element type to and from text, and the C++ type that goes with an element type.
#pragma once

#include <cstring>
#include <string_view>

#include "qor/core/number_text.h"
#include "qor/data/data_type.h"

namespace qor::impl {

/// Calls `act` with a value of the C++ type of an element type, and gives its result. False, without a call, for Null
/// and Ptr, which have no text.
template <typename Act>
bool withElemType(DataType elemType, Act act) {
    // NOLINTBEGIN(bugprone-branch-clone): the branches differ in the type of what is passed
    switch (elemType) {
        case DataType::Bool:
            return act(bool());
        case DataType::Char:
            return act(static_cast<signed char>(0));
        case DataType::Byte:
            return act(static_cast<unsigned char>(0));
        case DataType::Int16:
            return act(short());
        case DataType::Int32:
            return act(int());
        case DataType::Int64:
            return act(long());
        case DataType::UInt16:
            return act(static_cast<unsigned short>(0));
        case DataType::UInt32:
            return act(0u);
        case DataType::UInt64:
            return act(0ul);
        case DataType::Float:
            return act(float());
        case DataType::Double:
            return act(double());
        default:
            return false;
    }
    // NOLINTEND(bugprone-branch-clone)
}

/// As `formatNumber`, of the scalar at `from`, at whatever address that is.
template <typename T>
char* formatElem(char* to, const unsigned char* from) {
    T value;
    std::memcpy(&value, from, sizeof(T));
    return formatNumber(to, value);
}

/// As `parseNumber`, into the scalar at `to`, which stays as it is if `text` is no such number. The text ends at its
/// first zero byte.
template <typename T>
bool parseElem(std::string_view text, unsigned char* to) {
    T value{};
    if (!parseNumber(text.substr(0, text.find('\0')), value)) return false;
    std::memcpy(to, &value, sizeof(T));
    return true;
}

}  // namespace qor::impl
