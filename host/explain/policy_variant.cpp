#include "host/explain/policy_variant.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <fstream>
#include <vector>

#include "host/explain/toml_text.h"
#include "host/file_path.h"
#include "host/list_files.h"

namespace tarn::host {

namespace {

namespace fs = std::filesystem;

class VariantLists : public policy::ListFiles {
 public:
    explicit VariantLists(const PolicyVariant& variant) : variant_(variant), onDisk_(variant.file) {}
    std::vector<std::string> Names(const std::string& pattern) override { return onDisk_.Names(pattern); }
    bool Read(const std::string& name, std::string& text, std::string& whyNot) override {
        const auto changed = variant_.lists.find(name);
        if (changed == variant_.lists.end()) return onDisk_.Read(name, text, whyNot);
        text = changed->second;
        return true;
    }

 private:
    const PolicyVariant& variant_;
    ListFilesOnDisk onDisk_;
};

bool WriteOld(const fs::path& file, const std::string& text, std::string& whyNot) {
    std::ofstream output(file, std::ios::binary | std::ios::trunc);
    output << text;
    output.close();
    std::error_code error;
    if (output)
        fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::seconds(10), error);
    else
        error = std::make_error_code(std::errc::io_error);
    if (error) whyNot = fmt::format("no temporary file can be written ({})", error.message());
    return !error;
}

std::string Generic(const fs::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
}

// What an item of "include" names, as it is named from anywhere; copies in folder when one of the lists differs.
bool PlaceLists(const PolicyVariant& variant, const std::string& pattern, const fs::path& folder, std::string& placed,
                std::string& whyNot) {
    VariantLists lists(variant);
    const auto names = policy::IsPattern(pattern) ? lists.Names(pattern) : std::vector<std::string>{pattern};
    if (std::none_of(names.begin(), names.end(), [&](const auto& name) { return variant.lists.contains(name); })) {
        std::error_code ignored;
        placed = Generic(fs::absolute(ToPath(variant.file).parent_path() / ToPath(pattern), ignored));
        return true;
    }
    std::error_code error;
    fs::create_directories(folder, error);
    for (const std::string& name : names) {
        std::string text;
        if (!lists.Read(name, text, whyNot)) return false;
        if (!WriteOld(folder / ToPath(policy::SplitPattern(name).name), text, whyNot)) return false;
    }
    placed = Generic(folder / ToPath(policy::SplitPattern(pattern).name));
    return true;
}

// The names of "include", as they stand in the tree.
std::vector<const toml::node*> IncludedNames(const toml::table& root) {
    std::vector<const toml::node*> names;
    const toml::array* const items = root.get_as<toml::array>("include");
    for (std::size_t i = 0; items != nullptr && i < items->size(); ++i) {
        const toml::node* node = items->get(i);
        if (const toml::table* const table = node->as_table()) node = table->get("files");
        if (node != nullptr && node->is_string()) names.push_back(node);
    }
    return names;
}

}  // namespace

policy::ReadPolicy ReadVariant(const PolicyVariant& variant, const policy::FindSid& findSid) {
    VariantLists lists(variant);
    policy::PassedOverLists none;
    policy::ReadPolicy read = policy::ParsePolicy(
        variant.text, findSid, variant.withoutLists ? static_cast<policy::ListFiles*>(&none) : &lists);
    if (!variant.file.empty()) read.policy.files.front() = FromPath(ToPath(variant.file).filename());
    return read;
}

bool TakeLineOut(PolicyVariant& variant, const std::string& list, std::uint32_t line, std::string& whyNot) {
    std::string text;
    if (!VariantLists(variant).Read(list, text, whyNot)) {
        whyNot = fmt::format("{}: {}", list, whyNot);
        return false;
    }
    std::size_t begin = 0;
    for (std::uint32_t i = 1; i < line && begin < text.size(); ++i)
        begin = std::min(text.find('\n', begin), text.size() - 1) + 1;
    text.erase(begin, std::min(text.find('\n', begin), text.size()) - begin);
    variant.lists[list] = std::move(text);
    return true;
}

bool WriteVariant(const PolicyVariant& variant, const fs::path& file, std::string& whyNot) {
    std::string text = variant.text;
    if (text.find("include") != std::string::npos) try {
            const toml::table root = toml::parse(variant.text);
            const auto nodes = IncludedNames(root);
            for (std::size_t i = nodes.size(); i-- > 0;) {  // from the end, so that what is in front stays in place
                std::string placed;
                const fs::path folder = file.parent_path() / fmt::format("lists-{}", i + 1);
                if (!PlaceLists(variant, nodes[i]->as_string()->get(), folder, placed, whyNot)) return false;
                const std::size_t begin = OffsetOf(variant.text, nodes[i]->source().begin);
                text.replace(begin, OffsetOf(variant.text, nodes[i]->source().end) - begin, Quoted(placed));
            }
        } catch (const toml::parse_error&) {
            text = variant.text;  // its reader says what is wrong
        }
    return WriteOld(file, text, whyNot);
}

}  // namespace tarn::host
