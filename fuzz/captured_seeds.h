// Inputs out of tests/captures: payloads as a dissector found them, frames, whole capture files.
#ifndef TARN_FUZZ_CAPTURED_SEEDS_H
#define TARN_FUZZ_CAPTURED_SEEDS_H

#include <string>
#include <string_view>
#include <vector>

#include "target.h"

namespace tarn::fuzz {

// A file that is empty or missing ends the process: without seeds nothing would be tested.
ByteList ReadWholeFile(const std::string& path);

// Every step-th different payload of a kind: http, tls, ftp or dns. Those that no dissector knows belong to http.
std::vector<ByteList> PayloadsOf(std::string_view kind, std::size_t step);

// Every step-th frame of a capture.
std::vector<ByteList> FramesOf(const std::string& capture, std::size_t step);

// The SMB frames of each capture of that protocol in the form of the target smb_frames, cut into pieces.
std::vector<ByteList> SmbConversations();

// The beginning of a capture in both formats.
std::vector<ByteList> CaptureFiles();

}  // namespace tarn::fuzz

#endif
