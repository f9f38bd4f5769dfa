// UTF-8 text, the form the program keeps text in, to and from the forms that count characters:
// QString for Qt, and UTF-32 where positions and lengths count what the singer sees.
#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace velvora::utf8 {

QString toQString(std::string_view utf8);
std::u32string toText32(std::string_view utf8);
std::string fromText32(std::u32string_view text);
// Characters (code points) of UTF-8 text.
int charCount(std::string_view utf8);

} // namespace velvora::utf8
