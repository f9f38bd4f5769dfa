#include "karaoke/song_identification.h"

#include "core/vb_text.h"
#include "karaoke/midi_scanner.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace velvora::karaoke {

namespace {

struct KeyEntry {
    int sf;
    const char* major;
    const char* minor;
};

// The names as the program shows them; the pairs for 5 and 250 are its own.
constexpr std::array<KeyEntry, 12> kKeys{{
    {0, "Do", "Lam"},
    {1, "Sol", "Mim"},
    {2, "Re", "Sim"},
    {3, "La", "Fa#m"},
    {4, "Mi", "Rebm"},
    {5, "Fa#", "Mibm"},
    {250, "Si", "Labm"},
    {251, "Reb", "Sibm"},
    {252, "Lab", "Fam"},
    {253, "Mib", "Dom"},
    {254, "Sib", "Solm"},
    {255, "Fa", "Rem"},
}};

} // namespace

std::string FixedField(std::string_view b, int width) {
    std::string out(b.substr(0, static_cast<std::size_t>(std::max(0, width))));
    out.resize(static_cast<std::size_t>(std::max(0, width)), ' ');
    return out;
}

std::string FixedText(std::string_view utf8, int width) {
    std::string out;
    int chars = 0;
    std::size_t i = 0;
    while (i < utf8.size()) {
        std::size_t n = 1;
        while (i + n < utf8.size() && (static_cast<unsigned char>(utf8[i + n]) & 0xC0) == 0x80) ++n;
        if (chars == width) break;
        out.append(utf8.substr(i, n));
        ++chars;
        i += n;
    }
    for (; chars < width; ++chars) out += ' ';
    return out;
}

void FINDCOSTR(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    if (const int hit = vb::InStr(buf, vb::Bytes({0xFF, 0x02}))) {
        scan.fixCopyright = FixedField(vb::Mid(buf, hit + 11, 20), kCopyrightWidth);
    } else if (const int upper = vb::InStr(buf, "(C)")) {
        scan.fixCopyright = FixedField(vb::Mid(buf, upper + 3, 10), kCopyrightWidth);
    } else if (const int lower = vb::InStr(buf, "(c)")) {
        scan.fixCopyright = FixedField(vb::Mid(buf, lower + 3, 10), kCopyrightWidth);
    } else if (const int block = vb::InStr(buf, vb::Bytes({0x12, 0x40, 0x01, 0x00}))) {
        scan.fixCopyright = FixedField(vb::Mid(buf, block + 5, 10), kCopyrightWidth);
    } else {
        scan.fixCopyright = FixedField("", kCopyrightWidth);
    }
}

void TEMPO(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    const int hit = vb::InStr(buf, vb::Bytes({0xFF, 0x51}));
    const std::string three = hit != 0 ? vb::Mid(buf, hit + 3, 3) : std::string();
    if (three.empty()) {
        scan.fixTempo = FixedField("120", kTempoWidth);
        return;
    }
    const int a = ByteAt(three, 1);
    const int b = std::max(0, ByteAt(three, 2));
    // The third byte is read and dropped: the low byte counts as 142.
    const double tempo = a * 65536.0 + b * 256.0 + 142.0;
    const long long bpm = std::llrint(60000000.0 / tempo);
    scan.fixTempo = FixedField(std::to_string(bpm), kTempoWidth);
}

void key(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    const int hit = vb::InStr(buf, vb::Bytes({0xFF, 0x59, 0x02}));
    scan.fixKeyBytes = hit != 0 ? vb::Mid(buf, hit + 3, 2) : std::string("**");
}

std::string KeyName(int sf, int mi) {
    if (mi != 0 && mi != 1) return {};
    for (const KeyEntry& k : kKeys)
        if (k.sf == sf) return mi == 0 ? k.major : k.minor;
    return {};
}

void tonalita(MidiScanState& scan) {
    scan.keyName.clear();
    const int s = ByteAt(scan.fixKeyBytes, 1);
    const int m = ByteAt(scan.fixKeyBytes, 2);
    if (s < 0 || m < 0 || s == '*') return;
    scan.keyName = KeyName(s, m);
}

void cercatitolo(MidiScanState& scan) {
    if (ByteAt(scan.fixType, 1) == 1) {
        scan.fixTitle = FixedField("", kTitleWidth);
        return;
    }
    const std::string& buf = scan.midiBuffer;
    int hit = vb::InStr(buf, vb::Bytes({0xFF, 0x03}));
    if (hit == 0) {
        if (const int block = vb::InStr(buf, vb::Bytes({0x00, 0x20, 0x24, 0x00, 0x04}))) {
            scan.fixTitle = FixedField(vb::Mid(buf, block + 5, 15), kTitleWidth);
            return;
        }
        hit = vb::InStr(buf, vb::Bytes({0xFF, 0x01}));
        if (hit == 0) {
            scan.fixTitle = FixedField("", kTitleWidth);
            return;
        }
    }
    const int length = std::max(0, ByteAt(buf, hit + 2LL));
    scan.fixTitle = FixedField(vb::Mid(buf, hit + 3, length), kTitleWidth);
}

void TITOLOKARA(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    if (const int hit = vb::InStr(buf, "@T"))
        scan.fixTitle = FixedField(vb::Mid(buf, hit + 2, 20), kTitleWidth);
}

void TIPO(MidiScanState& scan) {
    scan.fixType = FixedField(vb::Mid(scan.midiBuffer, 10, 1), 1);
}

void CANALE4(MidiScanState& scan) {
    const bool melodyChannelPlays = scan.midiBuffer.find(static_cast<char>(147)) != std::string::npos;
    scan.fixChannel4.assign(1, melodyChannelPlays ? 'Y' : 'N');
}

void CERCACANTO(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    const std::string noteOn = vb::Bytes({147});
    std::string notes;
    int from = 1;
    for (int round = 0; round < 20; ++round) {
        const int hit = vb::InStr(from, buf, noteOn);
        if (hit == 0) break;
        from = hit + 1;
        const int velocity = ByteAt(buf, hit + 2LL);
        const int note = ByteAt(buf, hit + 1LL);
        if (velocity > 0 && note >= 0) notes += vb::Format(note, "000");
    }
    scan.fixMelody = FixedField(notes, kMelodyWidth);
}

bool FINDKARA(const std::string& fileName) {
    return vb::UCase(vb::Ext3(fileName)) == "KAR";
}

} // namespace velvora::karaoke
