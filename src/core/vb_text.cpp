#include "core/vb_text.h"

#include "core/utf8.h"

#include <QString>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace velvora::vb {

namespace {

template <class View>
long long inStr(long long start, View s, View find) {
    if (start < 1) start = 1;
    if (static_cast<unsigned long long>(start) > s.size() + 1) return 0;
    const std::size_t hit = s.find(find, static_cast<std::size_t>(start - 1));
    return hit == View::npos ? 0 : static_cast<long long>(hit) + 1;
}

} // namespace

int InStr(int start, std::string_view s, std::string_view find) {
    return static_cast<int>(inStr(start, s, find));
}

long long InStr(long long start, std::u32string_view s, std::u32string_view find) {
    return inStr(start, s, find);
}

int InStrRev(std::string_view s, std::string_view find) {
    const std::size_t hit = s.rfind(find);
    return hit == std::string_view::npos ? 0 : static_cast<int>(hit) + 1;
}

std::string_view MidView(std::string_view s, long long start, long long length) {
    if (start < 1) start = 1;
    const auto from = static_cast<unsigned long long>(start - 1);
    if (from >= s.size() || length == 0) return {};
    const std::size_t n = length < 0 ? std::string_view::npos : static_cast<std::size_t>(length);
    return s.substr(static_cast<std::size_t>(from), n);
}

std::string Mid(std::string_view s, int start, int length) {
    return std::string(MidView(s, start, length));
}

std::string Left(std::string_view s, int length) {
    if (length <= 0) return {};
    return std::string(s.substr(0, static_cast<std::size_t>(length)));
}

std::string Right(std::string_view s, int length) {
    if (length <= 0) return {};
    const auto n = static_cast<std::size_t>(length);
    return n >= s.size() ? std::string(s) : std::string(s.substr(s.size() - n));
}

std::string LTrim(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size() && s[i] == ' ') ++i;
    return std::string(s.substr(i));
}

std::string RTrim(std::string_view s) {
    std::size_t n = s.size();
    while (n > 0 && s[n - 1] == ' ') --n;
    return std::string(s.substr(0, n));
}

std::string Trim(std::string_view s) {
    return LTrim(RTrim(s));
}

std::string LCase(std::string_view s) {
    std::string out(s);
    for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::string UCase(std::string_view s) {
    std::string out(s);
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

std::string UpperText(std::string_view utf8) {
    return utf8::toQString(utf8).toUpper().toStdString();
}

double Val(std::string_view s) {
    std::size_t i = 0;
    auto skipBlanks = [&] {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r')) ++i;
    };
    skipBlanks();
    if (i + 1 < s.size() && s[i] == '&' && (s[i + 1] == 'H' || s[i + 1] == 'h')) {
        i += 2;
        // Sixteen digits fill 64 bits: unsigned, so the last one cannot overflow.
        unsigned long long v = 0;
        int digits = 0;
        while (i < s.size() && std::isxdigit(static_cast<unsigned char>(s[i])) && digits < 16) {
            v = v * 16 + static_cast<unsigned>(std::stoi(std::string(1, s[i]), nullptr, 16));
            ++i;
            ++digits;
        }
        return static_cast<double>(v);
    }
    std::string number;
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) number += s[i++];
    bool point = false, digits = false;
    for (; i < s.size(); ++i) {
        const char c = s[i];
        if (std::isdigit(static_cast<unsigned char>(c))) {
            number += c;
            digits = true;
        } else if (c == '.' && !point) {
            number += c;
            point = true;
        } else if (c == ' ') {
            continue; // Val skips blanks inside numbers
        } else {
            break;
        }
    }
    if (digits && i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        std::string exp = "e";
        std::size_t j = i + 1;
        if (j < s.size() && (s[j] == '-' || s[j] == '+')) exp += s[j++];
        bool expDigits = false;
        while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) {
            exp += s[j++];
            expDigits = true;
        }
        if (expDigits) number += exp;
    }
    if (!digits) return 0.0;
    const double v = std::strtod(number.c_str(), nullptr);
    return std::isfinite(v) ? v : 0.0;
}

std::string Format(double value, std::string_view pattern) {
    char buf[64];
    const std::size_t point = pattern.find('.');
    if (point == std::string_view::npos) {
        const int width = static_cast<int>(pattern.size());
        const long long v = std::llround(value);
        std::snprintf(buf, sizeof buf, "%0*lld", v < 0 ? width + 1 : width, v);
        return buf;
    }
    const int decimals = static_cast<int>(pattern.size() - point - 1);
    const int intDigits = static_cast<int>(point);
    // Halves round away from zero, as Format does, not to even as printf does.
    const double scale = std::pow(10.0, decimals);
    std::snprintf(buf, sizeof buf, "%.*f", decimals, std::round(value * scale) / scale);
    std::string out = buf;
    if (intDigits == 0) {
        // ".0": no leading zero before the point.
        if (out.rfind("0.", 0) == 0)
            out.erase(0, 1);
        else if (out.rfind("-0.", 0) == 0)
            out.erase(1, 1);
    }
    return out;
}

namespace {

// Whole numbers without a point, others with up to `precision` significant digits.
std::string numberDigits(double value, int precision) {
    char buf[64];
    if (value == std::floor(value) && std::fabs(value) < 1e15)
        std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(value));
    else
        std::snprintf(buf, sizeof buf, "%.*g", precision, value);
    return buf;
}

} // namespace

std::string CStr(double value) {
    return numberDigits(value, 15);
}

std::string PrintNumber(double value) {
    std::string digits = numberDigits(value, 7);
    if (!digits.empty() && digits[0] == '-') return digits + " ";
    return " " + digits + " ";
}

std::vector<std::string> SplitWriteLine(std::string_view line) {
    std::vector<std::string> items;
    std::string cur;
    bool quoted = false, wasQuoted = false;
    for (char c : line) {
        if (c == '"') {
            quoted = !quoted;
            wasQuoted = true;
        } else if (c == ',' && !quoted) {
            items.push_back(wasQuoted ? cur : Trim(cur));
            cur.clear();
            wasQuoted = false;
        } else if (c != '\r' && c != '\n') {
            cur += c;
        }
    }
    items.push_back(wasQuoted ? cur : Trim(cur));
    return items;
}

std::vector<std::string> InputItems(std::string_view text) {
    std::vector<std::string> items;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (!(end == text.size() && line.empty() && start == text.size())) {
            for (std::string& item : SplitWriteLine(line)) items.push_back(std::move(item));
        }
        start = end + 1;
    }
    return items;
}

std::string Bytes(std::initializer_list<int> values) {
    std::string out;
    for (int b : values) out += static_cast<char>(b);
    return out;
}

std::string Ext3(std::string_view path) {
    return Right(path, 3);
}

std::string decodeText(std::string_view bytes) {
    // Valid UTF-8 stays; anything else is read as Windows-1252.
    return utf8::decode(bytes);
}

} // namespace velvora::vb
