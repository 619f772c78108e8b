#include "shape/pe_image.h"

#include <algorithm>
#include <fstream>

namespace tarn::shape {
namespace {

using base::ByteReader;
using base::Bytes;
using base::Window;

constexpr std::size_t kMaxName = 512;        // characters of a module or export name
constexpr std::size_t kOptionalFixed = 112;  // bytes of the PE32+ optional header before its directories
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kImportDescriptorSize = 20;

struct Section {
    std::uint32_t address = 0;
    std::uint32_t size = 0;  // of the bytes in the file
    std::uint32_t offset = 0;
};

struct Directory {
    std::uint32_t address = 0;
    std::uint32_t size = 0;
};

// The numbers of the optional header's directories.
enum DirectoryIndex : std::size_t { kExports = 0, kImports = 1, kResources = 2, kDelayedImports = 13 };

struct Layout {
    Bytes file;
    std::vector<Section> sections;
    std::vector<Directory> directories;

    // The rest of a section from an address of the loaded image.
    [[nodiscard]] std::optional<Bytes> From(std::uint32_t address) const {
        for (const Section& section : sections) {
            if (address < section.address || address - section.address >= section.size) continue;
            const std::uint32_t inside = address - section.address;
            return Window(file, std::size_t{section.offset} + inside, section.size - inside);
        }
        return std::nullopt;
    }

    [[nodiscard]] Directory At(std::size_t index) const {
        return index < directories.size() ? directories[index] : Directory{};
    }
};

std::optional<std::string> NameAt(const Layout& layout, std::uint32_t address) {
    const std::optional<Bytes> bytes = layout.From(address);
    if (!bytes) return std::nullopt;
    const Bytes field = bytes->first(std::min(bytes->size(), kMaxName));
    const auto end = std::find(field.begin(), field.end(), std::uint8_t{0});
    if (end == field.end()) return std::nullopt;
    return std::string(field.begin(), end);
}

bool ReadHeaders(Bytes file, PeImage& image, Layout& layout) {
    constexpr std::uint16_t kMz = 0x5A4D;
    constexpr std::uint32_t kPe = 0x00004550;
    constexpr std::uint16_t kPe32Plus = 0x020B;
    ByteReader dos(file);
    std::uint16_t mz = 0;
    std::uint32_t headerOffset = 0;
    if (!dos.Le(mz) || mz != kMz || !dos.Skip(58) || !dos.Le(headerOffset)) return false;
    const std::optional<Bytes> rest =
        headerOffset <= file.size() ? Window(file, headerOffset, file.size() - headerOffset) : std::nullopt;
    if (!rest) return false;
    ByteReader reader(*rest);
    std::uint32_t signature = 0;
    std::uint16_t sectionCount = 0;
    std::uint16_t optionalSize = 0;
    if (!reader.Le(signature) || signature != kPe || !reader.Le(image.machine) || !reader.Le(sectionCount) ||
        !reader.Le(image.timeStamp) || !reader.Skip(8) || !reader.Le(optionalSize) || !reader.Le(image.characteristics))
        return false;
    Bytes optional;
    if (optionalSize < kOptionalFixed || !reader.Take(optionalSize, optional)) return false;

    ByteReader fields(optional);
    std::uint16_t magic = 0;
    std::uint32_t directoryCount = 0;
    if (!fields.Le(magic) || magic != kPe32Plus || !fields.Skip(68) || !fields.Le(image.dllCharacteristics) ||
        !fields.Skip(36) || !fields.Le(directoryCount))
        return false;
    for (std::uint32_t i = 0; i < directoryCount; ++i) {
        Directory directory;
        if (!fields.Le(directory.address) || !fields.Le(directory.size)) return false;
        layout.directories.push_back(directory);
    }

    layout.file = file;
    for (std::uint16_t i = 0; i < sectionCount; ++i) {
        Bytes header;
        if (!reader.Take(kSectionHeaderSize, header)) return false;
        ByteReader section(header);
        Section found;
        std::uint32_t flags = 0;
        if (!section.Skip(12) || !section.Le(found.address) || !section.Le(found.size) || !section.Le(found.offset) ||
            !section.Skip(12) || !section.Le(flags))
            return false;
        constexpr std::uint32_t kExecutable = 0x20000000;
        constexpr std::uint32_t kWritable = 0x80000000;
        if ((flags & kExecutable) != 0 && (flags & kWritable) != 0) image.hasWritableCode = true;
        if (!Window(file, found.offset, found.size)) return false;
        layout.sections.push_back(found);
    }
    return true;
}

bool ReadExports(const Layout& layout, PeImage& image) {
    const Directory directory = layout.At(kExports);
    if (directory.address == 0) return true;
    const std::optional<Bytes> bytes = layout.From(directory.address);
    if (!bytes) return false;
    ByteReader reader(*bytes);
    std::uint32_t nameCount = 0;
    std::uint32_t namesAddress = 0;
    if (!reader.Skip(20) || !reader.Le(image.exportedAddresses) || !reader.Le(nameCount) || !reader.Skip(4) ||
        !reader.Le(namesAddress))
        return false;
    if (nameCount == 0) return true;
    const std::optional<Bytes> table = layout.From(namesAddress);
    if (!table) return false;
    ByteReader names(*table);
    for (std::uint32_t i = 0; i < nameCount; ++i) {
        std::uint32_t address = 0;
        if (!names.Le(address)) return false;
        const std::optional<std::string> name = NameAt(layout, address);
        if (!name) return false;
        image.exportedNames.push_back(*name);
    }
    return true;
}

// The look-up table of one module: an ordinal, or the address of a hint and a name, until a zero.
bool ReadImportedNames(const Layout& layout, std::uint32_t address, const std::string& module, PeImage& image) {
    constexpr std::uint64_t kByOrdinal = std::uint64_t{1} << 63;
    const std::optional<Bytes> bytes = layout.From(address);
    if (!bytes) return false;
    ByteReader reader(*bytes);
    std::uint64_t entry = 0;
    while (reader.Le(entry)) {
        if (entry == 0) return true;
        if ((entry & kByOrdinal) != 0) {
            image.imports.push_back(module + " #" + std::to_string(entry & 0xFFFF));
            continue;
        }
        constexpr std::uint32_t kHint = 2;
        const std::optional<std::string> name = NameAt(layout, static_cast<std::uint32_t>(entry & 0x7FFFFFFF) + kHint);
        if (!name) return false;
        image.imports.push_back(module + " " + *name);
    }
    return false;  // the table has no end
}

bool ReadImports(const Layout& layout, PeImage& image) {
    const Directory directory = layout.At(kImports);
    if (directory.address == 0) return true;
    const std::optional<Bytes> bytes = layout.From(directory.address);
    if (!bytes) return false;
    ByteReader reader(*bytes);
    Bytes descriptor;
    while (reader.Take(kImportDescriptorSize, descriptor)) {
        ByteReader fields(descriptor);
        std::uint32_t lookUpAddress = 0;
        std::uint32_t nameAddress = 0;
        if (!fields.Le(lookUpAddress) || !fields.Skip(8) || !fields.Le(nameAddress)) return false;
        if (nameAddress == 0) return true;
        std::optional<std::string> name = NameAt(layout, nameAddress);
        if (!name) return false;
        for (char& c : *name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
        image.importedModules.push_back(*name);
        if (!ReadImportedNames(layout, lookUpAddress, *name, image)) return false;
    }
    return false;  // the table has no end
}

bool ReadResourceTypes(const Layout& layout, PeImage& image) {
    const Directory directory = layout.At(kResources);
    if (directory.address == 0) return true;
    const std::optional<Bytes> bytes = layout.From(directory.address);
    if (!bytes) return false;
    ByteReader reader(*bytes);
    std::uint16_t namedCount = 0;
    std::uint16_t numberedCount = 0;
    if (!reader.Skip(12) || !reader.Le(namedCount) || !reader.Le(numberedCount) ||
        !reader.Skip(std::size_t{namedCount} * 8))
        return false;
    for (std::uint16_t i = 0; i < numberedCount; ++i) {
        std::uint32_t type = 0;
        if (!reader.Le(type) || !reader.Skip(4)) return false;
        image.resourceTypes.push_back(type);
    }
    return true;
}

}  // namespace

std::vector<std::uint8_t> ReadFileBytes(const std::string& file) {
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    if (!stream) return {};
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(stream.tellg()));
    stream.seekg(0);
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream) bytes.clear();
    return bytes;
}

std::optional<PeImage> ParsePeImage(Bytes file) {
    PeImage image;
    Layout layout;
    if (!ReadHeaders(file, image, layout) || !ReadExports(layout, image) || !ReadImports(layout, image) ||
        !ReadResourceTypes(layout, image))
        return std::nullopt;
    image.delaysImports = layout.At(kDelayedImports).address != 0;
    return image;
}

}  // namespace tarn::shape
