// protoc-gen-vorn35: protoc runs it for --vorn35_out=cpp:DIRECTORY.

#include <google/protobuf/compiler/plugin.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "back_end.h"

namespace vorn_types {

namespace {

struct Language {
    std::string_view name;
    Back_end* write;
};
constexpr std::array c_languages = {Language{"cpp", write_cpp}};

class Generator : public pb::compiler::CodeGenerator {
public:
    std::uint64_t GetSupportedFeatures() const override { return FEATURE_PROTO3_OPTIONAL; }

    bool Generate(const pb::FileDescriptor* _file, const std::string& _languages,
                  pb::compiler::GeneratorContext* _context, std::string* _error_) const override {
        return GenerateAll({_file}, _languages, _context, _error_);
    }

    /// All files at once, so that one run shows the faults of all of them. Nothing is written if there is one.
    bool GenerateAll(const std::vector<const pb::FileDescriptor*>& _files, const std::string& _languages,
                     pb::compiler::GeneratorContext* _context, std::string* _error_) const override {
        const std::vector<Back_end*> back_ends = chosen(_languages, _error_);
        std::vector<std::vector<Service>> services;
        services.reserve(_files.size());
        for (const pb::FileDescriptor* const file : _files) services.push_back(read_services(file, _error_));
        if (!_error_->empty()) return false;
        for (std::size_t i = 0; i < _files.size(); ++i) {
            for (Back_end* const write : back_ends) write(_files[i], services[i], _context);
        }
        return true;
    }

private:
    static std::vector<Back_end*> chosen(const std::string& _languages, std::string* _error_) {
        std::vector<Back_end*> out;
        std::istringstream words(_languages);
        for (std::string word; std::getline(words, word, ',');) {
            const auto* const found = std::find_if(c_languages.begin(), c_languages.end(),
                                                   [&](const Language& _language) { return _language.name == word; });
            if (found != c_languages.end()) {
                out.push_back(found->write);
            } else {
                *_error_ += "\nunknown language \"" + word + "\"; there is:";
                for (const Language& language : c_languages) _error_->append(" ").append(language.name);
            }
        }
        if (out.empty() && _error_->empty()) *_error_ = "name a language: --vorn35_out=cpp:DIRECTORY";
        return out;
    }
};

}  // namespace

}  // namespace vorn_types

int main(int argc, char** argv) {
    const vorn_types::Generator generator;
    return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
