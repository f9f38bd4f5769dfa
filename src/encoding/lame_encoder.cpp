#include "encoding/lame_encoder.h"

#include "core/files.h"
#include "encoding/mp3_writer.h"
#include "encoding/raised_error.h"
#include "encoding/wav_reader.h"

#include <filesystem>
#include <system_error>

namespace velvora::encoding {

namespace {

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    return !a.empty() && !b.empty() && std::filesystem::equivalent(a, b, ec) && !ec;
}

} // namespace

cLameEncoder::cLameEncoder(std::string appName) : m_appName(std::move(appName)) {
    BeConfig& c = m_tBeConfig;
    c.configKind = kBeConfigLame;
    c.structVersion = 1;
    c.structSize = sizeof(BeConfig);
    c.inputRate = 44100;
    c.outputRate = 0;
    c.mode = kModeJointStereo;
    c.bitrate = 128;
    c.maxBitrate = 0;
    c.preset = kPresetR3mix;
    c.mpegVersion = kMpeg1;
    c.original = 1;
    c.writeVbrHeader = 1;
    c.enableVbr = 0;
    c.noReservoir = 1;
    c.strictIso = 0;
    c.quality = 0;
}

cLameEncoder::~cLameEncoder() {
    try {
        CloseStream();
    } catch (const RaisedError&) {
    }
}

const cLameEncoderVersion& cLameEncoder::Version() {
    if (!m_cVersion) m_cVersion = std::make_unique<cLameEncoderVersion>();
    return *m_cVersion;
}

void cLameEncoder::WavFile(const std::string& path) {
    if (FileExists(path)) m_sWavFile = path;
}

void cLameEncoder::Mp3File(const std::string& path) {
    if (!FileExists(path)) m_sMp3File = path;
}

bool cLameEncoder::FileExists(const std::string& path) {
    return EsisteFile(path);
}

void cLameEncoder::KillFile(const std::string& path) {
    std::error_code ec;
    if (!path.empty()) std::filesystem::remove(path, ec);
}

void cLameEncoder::InitStream() {
    CloseStream();
    const std::uint32_t status = beInitStream(&m_tBeConfig, &m_lSamples, &m_lBufferSize, &m_hStream);
    if (status != kBeOk) {
        m_lBufferSize = 0;
        m_hStream = 0;
    }
    RaiseLameError("lameInit", status, true);
}

void cLameEncoder::CloseStream() {
    if (!m_hStream) return;
    const std::uint32_t status = beCloseStream(m_hStream);
    m_hStream = 0;
    m_lSamples = 0;
    m_lBufferSize = 0;
    RaiseLameError("lameClose", status, true);
}

std::unique_ptr<cMp3Writer> cLameEncoder::OpenWriter() {
    auto writer = std::make_unique<cMp3Writer>(m_appName);
    writer->BufferSize(static_cast<std::int32_t>(m_lBufferSize));
    writer->Filename(m_sMp3File);
    return writer;
}

std::unique_ptr<cWavReader> cLameEncoder::OpenReader() {
    auto reader = std::make_unique<cWavReader>(m_appName);
    reader->ReadBufferSize(static_cast<std::int32_t>(m_lSamples / 2));
    reader->Filename(m_sWavFile);
    return reader;
}

void cLameEncoder::RaiseLameError(const std::string& routine, std::uint32_t code, bool isLame) const {
    if (isLame && code == kBeOk) return;
    throw lameError(m_appName, routine, static_cast<int>(code), isLame);
}

void cLameEncoder::Encode() {
    InitStream();
    if (!m_hStream) RaiseLameError("lameConvert", 1, false);

    std::unique_ptr<cWavReader> reader;
    std::unique_ptr<cMp3Writer> writer;
    std::string made;
    // Whatever fails from here on lets reader, writer and stream go and takes away the output
    // the job had begun.
    const auto release = [&] {
        reader.reset();
        writer.reset();
        KillFile(made);
        try {
            CloseStream();
        } catch (const RaisedError&) {
        }
    };
    try {
        reader = OpenReader();
        // Creating the target empties it; when it is the source itself that would lose the source.
        if (sameFile(m_sWavFile, m_sMp3File)) throw mp3WriterError(m_appName, "OpenFile", 2);
        writer = OpenWriter();
        made = writer->Filename();
        convert(*reader, *writer);
    } catch (const RaisedError& e) {
        release();
        throw RaisedError(e.number(), m_appName + ".lameConvert", e.description());
    } catch (...) {
        release();
        throw;
    }
    reader.reset();
    writer.reset();
    CloseStream();
}

void cLameEncoder::convert(cWavReader& reader, cMp3Writer& writer) {
    std::int64_t done = 0;
    bool cancel = false;
    std::uint32_t written = 0;
    const auto raiseEvent = [&](std::int64_t now) {
        if (EncodeProgress) EncodeProgress(now, reader.AudioLength() * 2, cancel);
    };
    while (reader.Read() && !cancel) {
        const std::int32_t size = reader.ReadBufferSize();
        const std::uint32_t status = beEncodeChunk(m_hStream, static_cast<std::uint32_t>(size) * 2,
                                                   reader.ReadBufferPtr(), writer.BufferPointer(), &written);
        RaiseLameError("lameConvert", status, true);
        writer.WriteBufferToFile(static_cast<std::int32_t>(written));
        done += std::int64_t(reader.ReadBufferSize()) * 2;
        raiseEvent(done);
    }
    if (!cancel) {
        const std::uint32_t status = beDeinitStream(m_hStream, writer.BufferPointer(), &written);
        RaiseLameError("lameConvert", status, true);
        writer.WriteBufferToFile(static_cast<std::int32_t>(written));
        raiseEvent(reader.AudioLength() * 2);
        writer.CloseFile();
    }
    if (cancel) {
        writer.CloseFile();
        KillFile(writer.Filename());
    }
}

} // namespace velvora::encoding
