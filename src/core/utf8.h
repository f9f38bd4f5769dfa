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

// True when the bytes are UTF-8 as it is written (plain ASCII is).
bool isValid(std::string_view bytes);

// Text in the encodings songs were written in. Names are those of iconv ("SHIFT_JIS", "EUC-KR",
// "GBK", "BIG5", "WINDOWS-1251", "KOI8-R", "WINDOWS-1253"), "UTF-8" and "WINDOWS-1252".
inline constexpr const char* kFallbackEncoding = "WINDOWS-1252";

// The encoding of a song's texts, told once from all of them together: "UTF-8" when they are valid
// UTF-8 (plain ASCII included), else what the detector finds, else Windows-1252 when it is unsure.
std::string detectEncoding(std::string_view allText);

// The bytes as UTF-8. With no encoding, "UTF-8" or "WINDOWS-1252", valid UTF-8 stays as it is and
// anything else is read as Windows-1252; with another encoding the bytes are converted from it (a
// character cut at the end is dropped), and bytes it cannot read are read as Windows-1252 instead,
// so that nothing is lost from view.
std::string decode(std::string_view bytes, std::string_view encoding = {});

} // namespace velvora::utf8
