// Lists kept as one text, items joined by "|".
#pragma once

#include <string>

namespace velvora::tags {

inline void appendJoined(std::string& list, const std::string& item) {
    if (!list.empty()) list += '|';
    list += item;
}

} // namespace velvora::tags
