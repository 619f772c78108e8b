#include "host/capture/capture_reader.h"

#include <fmt/format.h>
#include <vector>

#include "base/byte_reader.h"
#include "host/capture/pcap_source.h"
#include "host/capture/pcapng_source.h"

namespace tarn::host {

bool CaptureReader::Next(CapturedFrame& frame) {
    if (!Error().empty()) return false;
    if (!source_ && !Open()) return false;
    if (!source_->Next(frame)) return false;
    frame.number = ++frameCount_;
    return true;
}

bool CaptureReader::Open() {
    if (stream_.AtEnd()) return stream_.Fail("the file is empty; a capture has at least a header");
    std::vector<std::uint8_t> magic;
    if (!stream_.Read(4, "the capture header", magic)) return false;
    if (magic[0] == 0x1F && magic[1] == 0x8B) return stream_.Fail("the file is compressed (gzip); unpack it first");
    source_ = OpenPcap(stream_, magic);
    if (!source_) source_ = OpenPcapng(stream_, magic);
    if (!source_ && stream_.Error().empty())
        return stream_.Fail(
            fmt::format("the file begins with {:02x} {:02x} {:02x} {:02x} and is no capture; pcap and "
                        "pcapng files can be replayed",
                        magic[0], magic[1], magic[2], magic[3]));
    return source_ != nullptr;
}

}  // namespace tarn::host
