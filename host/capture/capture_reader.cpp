#include "host/capture/capture_reader.h"

#include <fmt/format.h>
#include <vector>

#include "base/byte_reader.h"
#include "host/capture/link_layer.h"
#include "host/capture/pcap_source.h"
#include "host/capture/pcapng_source.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kGzipMagic = 0x1F8B;  // the first two bytes

}  // namespace

bool CaptureReader::Next(CapturedFrame& frame) {
    if (!Error().empty()) return false;
    if (!source_ && !Open()) return false;
    if (!source_->Next(frame)) return false;
    MakeEthernet(frame.linkType, frame.bytes);
    frame.number = ++frameCount_;
    return true;
}

bool CaptureReader::Open() {
    if (stream_.AtEnd()) return stream_.Fail("the file is empty; a capture has at least a header");
    std::vector<std::uint8_t> magic;
    if (!stream_.Read(4, "the capture header", magic)) return false;
    std::uint32_t number = 0;
    if (!base::ByteReader(magic).Be(number)) return false;
    if (number >> 16 == kGzipMagic) {
        if (stream_.IsUnpacked()) return stream_.Fail("the file is compressed twice; unpack it once");
        stream_.Unpack(magic);
        return Open();
    }
    source_ = OpenPcap(stream_, magic);
    if (!source_) source_ = OpenPcapng(stream_, magic);
    if (!source_ && stream_.Error().empty())
        return stream_.Fail(
            fmt::format("the file begins with {:02x} {:02x} {:02x} {:02x} and is no capture; pcap and "
                        "pcapng files can be replayed",
                        number >> 24, number >> 16 & 0xFF, number >> 8 & 0xFF, number & 0xFF));
    return source_ != nullptr;
}

}  // namespace tarn::host
