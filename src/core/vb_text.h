// Text helpers with the classic Basic semantics the program's routines are written in: 1-based
// positions, forgiving bounds, Val and Format. They work on bytes; text from files is decoded to
// UTF-8 by decodeText first where characters matter.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace velvora::vb {

// Position (1-based) of `find` in `s` searching from `start`; 0 when absent or out of range.
// An empty `find` is found at `start` when start lies within s (or just past it).
int InStr(int start, std::string_view s, std::string_view find);
inline int InStr(std::string_view s, std::string_view find) {
    return InStr(1, s, find);
}
// The same over characters (UTF-32).
long long InStr(long long start, std::u32string_view s, std::u32string_view find);
// Position of the last occurrence; 0 when absent.
int InStrRev(std::string_view s, std::string_view find);

// Up to `length` characters from the 1-based `start`; all of the rest when length < 0.
std::string Mid(std::string_view s, int start, int length = -1);
// The same as a view into `s`.
std::string_view MidView(std::string_view s, long long start, long long length = -1);
std::string Left(std::string_view s, int length);
std::string Right(std::string_view s, int length);
std::string Trim(std::string_view s);
std::string LTrim(std::string_view s);
std::string RTrim(std::string_view s);
// ASCII case changes, for extensions and byte-level tests.
std::string LCase(std::string_view s);
std::string UCase(std::string_view s);
// Upper case of UTF-8 text, accented letters included.
std::string UpperText(std::string_view utf8);

// The leading number of a text, as Val reads it: blanks skipped, a sign, digits, one point and an
// exponent; "&H" hexadecimal. Anything else ends the number; no number gives 0.
double Val(std::string_view s);

// Formats with the patterns the program uses: "00" (at least two digits), "0.00", ".0", "000".
std::string Format(double value, std::string_view pattern);

// A number as text the way CStr writes it: whole numbers without a point, others with up to
// fifteen significant digits.
std::string CStr(double value);

// The classic "print" form of a number: a blank (or the minus sign) in front, a blank behind.
std::string PrintNumber(double value);

// Splits a line of the classic "write" form: commas separate items outside double quotes; quotes
// around an item are removed.
std::vector<std::string> SplitWriteLine(std::string_view line);
// Items of a text read with the classic "input" statement: commas and line ends separate items,
// surrounding quotes are stripped, blanks around unquoted items are dropped.
std::vector<std::string> InputItems(std::string_view text);

// The bytes of the given values (0 to 255), in order: patterns for byte searches.
std::string Bytes(std::initializer_list<int> values);

// The last three characters of a path, the song-kind test's input.
std::string Ext3(std::string_view path);

// Text from a file: kept when it is valid UTF-8, else read as Windows-1252 and turned into UTF-8.
std::string decodeText(std::string_view bytes);

} // namespace velvora::vb
