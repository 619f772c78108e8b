// The rules for sources that a program can check: who includes whom, names of guards, sizes.
// The caller finds the files; every rule gets texts and returns complaints.
#ifndef TARN_TESTS_SHAPE_SOURCE_RULES_H
#define TARN_TESTS_SHAPE_SOURCE_RULES_H

#include <string>
#include <string_view>
#include <vector>

namespace tarn::shape {

struct SourceFile {
    std::string path;  // from the project's root, with forward slashes
    std::string text;
};

using Complaints = std::vector<std::string>;

// What #include lines name, with their quotes or angle brackets.
std::vector<std::string> IncludesOf(std::string_view text);

// A file of src/<layer> includes its own layer, the layers below and include/tarn, and names the layer it includes.
Complaints CheckLayers(const SourceFile& file);

// Headers of the operating system stand only in the files named for it.
Complaints CheckSystemHeaders(const SourceFile& file);

// The headers of the command line's parser, which take long to compile, stand in three files of the host.
Complaints CheckParserHeaders(const SourceFile& file);

// No header by its place on one machine: the cross compiler breaks on the native system's headers.
Complaints CheckAbsoluteIncludes(const SourceFile& file);

// TARN_<FOLDER>_<FILE>_H; outside src the folders above may stand before it. Public headers: TARN_<FILE>_H.
Complaints CheckGuard(const SourceFile& file);

// Two headers with one guard hide each other.
Complaints CheckGuardsDiffer(const std::vector<SourceFile>& files);

inline constexpr std::size_t kMaxLines = 450;
Complaints CheckLength(const SourceFile& file);

// The library turns thread notifications off, so a thread_local in it would never be freed.
Complaints CheckThreadLocal(const SourceFile& file);

// Only one file of the library reaches a guarded value without its lock.
Complaints CheckUnlocked(const SourceFile& file);

// Outside base/byte_reader.h library and host index no untrusted bytes: nothing that a file declares as Bytes stands
// before a "[", and neither does its data().
Complaints CheckByteIndexing(const SourceFile& file);

// Every comment that marks a quirk names its test, and that test exists.
Complaints CheckQuirks(const SourceFile& file, const std::vector<SourceFile>& tests);

}  // namespace tarn::shape

#endif
