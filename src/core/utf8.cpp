#include "core/utf8.h"

#include <QByteArray>

#include <uchardet/uchardet.h>

#include <cerrno>
#include <iconv.h>
#include <memory>
#include <optional>
#include <type_traits>

namespace velvora::utf8 {

QString toQString(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::u32string toText32(std::string_view utf8) {
    return toQString(utf8).toStdU32String();
}

std::string fromText32(std::u32string_view text) {
    return QString::fromUcs4(text.data(), static_cast<qsizetype>(text.size())).toStdString();
}

int charCount(std::string_view utf8) {
    int n = 0;
    for (unsigned char c : utf8)
        if ((c & 0xC0) != 0x80) ++n;
    return n;
}

bool isValid(std::string_view bytes) {
    const QByteArray raw(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return QString::fromUtf8(raw).toUtf8() == raw;
}

namespace {

std::string upper(std::string_view name) {
    std::string out(name);
    for (char& c : out)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return out;
}

std::string fromWindows1252(std::string_view bytes) {
    static const char16_t high[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                      0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
    QString out;
    out.reserve(static_cast<qsizetype>(bytes.size()));
    for (char ch : bytes) {
        const auto b = static_cast<unsigned char>(ch);
        out += (b >= 0x80 && b < 0xA0) ? QChar(high[b - 0x80]) : QChar(b);
    }
    return out.toStdString();
}

// iconv from `encoding` to UTF-8; nothing when the encoding is unknown or the bytes are not text in
// it.
std::optional<std::string> throughIconv(std::string_view bytes, const std::string& encoding) {
    iconv_t cd = iconv_open("UTF-8", encoding.c_str());
    if (cd == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    std::string out(bytes.size() * 4 + 16, '\0');
    char* in = const_cast<char*>(bytes.data());
    std::size_t inLeft = bytes.size();
    char* to = out.data();
    std::size_t toLeft = out.size();
    const std::size_t done = iconv(cd, &in, &inLeft, &to, &toLeft);
    const int error = errno;
    iconv_close(cd);
    // A character cut by the end of a fixed-width field is dropped; any other fault is no text.
    if (done == static_cast<std::size_t>(-1) && error != EINVAL) return std::nullopt;
    out.resize(out.size() - toLeft);
    return out;
}

} // namespace

std::string detectEncoding(std::string_view allText) {
    if (isValid(allText)) return "UTF-8";
    const std::unique_ptr<std::remove_pointer_t<uchardet_t>, void (*)(uchardet_t)> detector(uchardet_new(),
                                                                                            uchardet_delete);
    if (!detector) return kFallbackEncoding;
    if (uchardet_handle_data(detector.get(), allText.data(), allText.size()) != 0) return kFallbackEncoding;
    uchardet_data_end(detector.get());
    const std::string found = upper(uchardet_get_charset(detector.get()));
    // Unsure, or a Latin guess, which Windows-1252 reads as well or better.
    if (found.empty() || found == "ASCII" || found == "ISO-8859-1" || found == "ISO-8859-15" ||
        found == "WINDOWS-1252")
        return kFallbackEncoding;
    // A detector's answer that iconv cannot read is no answer.
    if (!throughIconv(std::string_view(), found)) return kFallbackEncoding;
    return found;
}

std::string decode(std::string_view bytes, std::string_view encoding) {
    const std::string name = upper(encoding);
    if (name.empty() || name == "UTF-8") return isValid(bytes) ? std::string(bytes) : fromWindows1252(bytes);
    // A Western song's text that is UTF-8 after all (a title written by a newer tool) stays so; in
    // the encodings of more than one byte a character, UTF-8 look-alikes are common and are read
    // as what they are.
    if (name == kFallbackEncoding) return isValid(bytes) ? std::string(bytes) : fromWindows1252(bytes);
    if (std::optional<std::string> text = throughIconv(bytes, name)) return *std::move(text);
    return fromWindows1252(bytes);
}

} // namespace velvora::utf8
