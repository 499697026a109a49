#include "model.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <utility>

#include "vorn35/options.pb.h"

namespace vorn_types {

namespace {

constexpr std::uint32_t c_most_code = 65534;  // 65535 is the signal that cancels calls
constexpr std::uint32_t c_most_history = 65535;
constexpr std::size_t c_most_name = 20;

/// Collects errors with the place where they stand in the file.
class Errors {
public:
    Errors(const pb::FileDescriptor* _file, std::string* _text_) : file(_file), text_(_text_) {}

    /// @param _of a service or a method; @param _option number of the option at fault, 0 for the whole.
    template <class Descriptor>
    void add(const Descriptor* _of, int _option, const std::string& _message) {
        pb::SourceLocation at;
        std::vector<int> to_option = path_of(_of);
        to_option.push_back(_option);
        const bool found = (_option != 0 && file->GetSourceLocation(to_option, &at)) || _of->GetSourceLocation(&at);
        *text_ += "\n" + file->name() + ":";
        if (found) *text_ += std::to_string(at.start_line + 1) + ":" + std::to_string(at.start_column + 1) + ":";
        *text_ += " " + _of->full_name() + ": " + _message;
    }

private:
    /// To the options, as field numbers and indices in the file's descriptor.
    static std::vector<int> path_of(const pb::ServiceDescriptor* _of) {
        return {pb::FileDescriptorProto::kServiceFieldNumber, _of->index(),
                pb::ServiceDescriptorProto::kOptionsFieldNumber};
    }
    static std::vector<int> path_of(const pb::MethodDescriptor* _of) {
        return {pb::FileDescriptorProto::kServiceFieldNumber, _of->service()->index(),
                pb::ServiceDescriptorProto::kMethodFieldNumber, _of->index(),
                pb::MethodDescriptorProto::kOptionsFieldNumber};
    }

    const pb::FileDescriptor* const file;
    std::string* const text_;
};

/// "ReadAll", "readAll" and "Read_All" become "read_all", "HTTPGet" becomes "http_get".
std::string snake(std::string_view _name) {
    const auto is_upper = [](char _c) { return std::isupper(static_cast<unsigned char>(_c)) != 0; };
    std::string out;
    for (std::size_t i = 0; i < _name.size(); ++i) {
        const bool begins_word =
            is_upper(_name[i]) && i != 0 && _name[i - 1] != '_' &&
            (!is_upper(_name[i - 1]) ||
             (i + 1 < _name.size() && std::islower(static_cast<unsigned char>(_name[i + 1])) != 0));
        if (begins_word) out += '_';
        out += static_cast<char>(std::tolower(static_cast<unsigned char>(_name[i])));
    }
    return out;
}

template <class Descriptor>
std::string comment_of(const Descriptor* _of) {
    pb::SourceLocation at;
    return _of->GetSourceLocation(&at) ? at.leading_comments : std::string();
}

/// Numbers of the options of kinds that a method has.
std::vector<int> kinds_of(const pb::MethodOptions& _options) {
    std::vector<int> kinds;
    const auto look = [&](const auto& _extension, Kind _kind) {
        if (_options.HasExtension(_extension)) kinds.push_back(static_cast<int>(_kind));
    };
    look(vorn35::call, Kind::call);
    look(vorn35::signal, Kind::signal);
    look(vorn35::event, Kind::event);
    look(vorn35::information, Kind::information);
    look(vorn35::command, Kind::command);
    look(vorn35::datagram, Kind::datagram);
    return kinds;
}

int option_number(Kind _kind) {
    return vorn35::kCallFieldNumber + static_cast<int>(_kind);
}

/// Reads the options of the one kind that the method has.
void read_options(Method* _method_) {
    const pb::MethodOptions& options = _method_->descriptor->options();
    const auto with_limit = [&](const auto& _of) {
        _method_->code = _of.code();
        if (_of.has_limit()) _method_->limit = _of.limit();
    };
    const auto with_history = [&](const auto& _of) {
        _method_->code = _of.code();
        if (_of.has_history()) _method_->history = _of.history();
    };
    switch (_method_->kind) {
        case Kind::call:
            return with_limit(options.GetExtension(vorn35::call));
        case Kind::signal:
            return with_limit(options.GetExtension(vorn35::signal));
        case Kind::event:
            _method_->code = options.GetExtension(vorn35::event).code();
            return;
        case Kind::information:
            _method_->multicast = options.GetExtension(vorn35::information).multicast();
            return with_history(options.GetExtension(vorn35::information));
        case Kind::command:
            return with_history(options.GetExtension(vorn35::command));
        case Kind::datagram:
            _method_->code = options.GetExtension(vorn35::datagram).code();
            return;
    }
}

/// The shape of the rpc, and the side without payload.
void check_shape(const Method& _method, Errors* _errors_) {
    const pb::MethodDescriptor* const rpc = _method.descriptor;
    const std::string kind(c_kind_names.at(static_cast<std::size_t>(_method.kind)));
    const bool from_service = _method.is_from_service();
    const bool from_client = _method.kind == Kind::command;
    if (rpc->client_streaming() != from_client || rpc->server_streaming() != from_service) {
        const std::string_view shape = from_client    ? "rpc Name(stream Message) returns (Empty)"
                                       : from_service ? "rpc Name(Empty) returns (stream Message)"
                                                      : "rpc Name(Message) returns (Message), without stream";
        return _errors_->add(rpc, 0, "the " + kind + " must have the form " + std::string(shape));
    }
    if (_method.kind == Kind::call) return;
    const pb::Descriptor* const other = from_service ? rpc->input_type() : rpc->output_type();
    if (other->field_count() != 0) {
        const std::string side = from_service ? "carries nothing from the client" : "carries no answer";
        _errors_->add(rpc, 0, "the " + kind + " " + side + ", so " + other->full_name() + " must have no fields");
    }
}

void check_values(const Method& _method, Errors* _errors_) {
    const int option = option_number(_method.kind);
    if (_method.code == 0 || _method.code > c_most_code) {
        _errors_->add(
            _method.descriptor, option,
            "code " + std::to_string(_method.code) + " is not in the range 1 to " + std::to_string(c_most_code));
    }
    if (!(_method.limit > 0) || !std::isfinite(_method.limit)) {
        _errors_->add(_method.descriptor, option, "limit must be a number of seconds above 0");
    }
    if (_method.history == 0 || _method.history > c_most_history) {
        _errors_->add(_method.descriptor, option,
                      "history " + std::to_string(_method.history) + " is not in the range 1 to " +
                          std::to_string(c_most_history));
    }
}

Service read_service(const pb::ServiceDescriptor* _service, Errors* _errors_) {
    Service out;
    out.descriptor = _service;
    out.name = _service->options().GetExtension(vorn35::name);
    out.comment = comment_of(_service);
    if (!_service->options().HasExtension(vorn35::name)) {
        _errors_->add(_service, 0, "has members of Vorn35 and no option (vorn35.name)");
    } else if (out.name.empty() || out.name.size() > c_most_name) {
        _errors_->add(_service, vorn35::kNameFieldNumber, "(vorn35.name) must have 1 to 20 bytes");
    }
    std::map<std::pair<Kind, std::uint32_t>, std::string> codes;
    std::map<std::string, std::string> names;
    for (int i = 0; i < _service->method_count(); ++i) {
        Method method;
        method.descriptor = _service->method(i);
        method.name = snake(method.descriptor->name());
        method.comment = comment_of(method.descriptor);
        const auto [other, is_new] = names.emplace(method.name, method.descriptor->name());
        if (!is_new) {
            _errors_->add(method.descriptor, 0,
                          "becomes \"" + method.name + "\" in the code, as " + other->second + " does");
        }
        const std::vector<int> kinds = kinds_of(method.descriptor->options());
        if (kinds.empty()) {
            _errors_->add(method.descriptor, 0,
                          "has no kind: add one of the options (vorn35.call), signal, event, information, command, "
                          "datagram");
            continue;
        }
        method.kind = static_cast<Kind>(kinds.front());
        if (kinds.size() > 1) {
            _errors_->add(method.descriptor, option_number(static_cast<Kind>(kinds[1])),
                          "has two kinds, " + std::string(c_kind_names.at(kinds[0])) + " and " +
                              std::string(c_kind_names.at(kinds[1])));
            continue;
        }
        read_options(&method);
        check_shape(method, _errors_);
        check_values(method, _errors_);
        const auto [first, is_free] = codes.emplace(std::pair(method.kind, method.code), method.descriptor->name());
        if (!is_free) {
            _errors_->add(method.descriptor, option_number(method.kind),
                          "code " + std::to_string(method.code) + " is used by the " +
                              std::string(c_kind_names.at(static_cast<std::size_t>(method.kind))) + " " +
                              first->second);
        }
        out.methods.push_back(std::move(method));
    }
    return out;
}

bool is_ours(const pb::ServiceDescriptor* _service) {
    if (_service->options().HasExtension(vorn35::name)) return true;
    for (int i = 0; i < _service->method_count(); ++i) {
        if (!kinds_of(_service->method(i)->options()).empty()) return true;
    }
    return false;
}

}  // namespace

std::vector<Service> read_services(const pb::FileDescriptor* _file, std::string* _errors_) {
    Errors errors(_file, _errors_);
    std::vector<Service> services;
    for (int i = 0; i < _file->service_count(); ++i) {
        const pb::ServiceDescriptor* const service = _file->service(i);
        if (!is_ours(service)) continue;
        services.push_back(read_service(service, &errors));
        const auto same = [&](const Service& _other) { return _other.name == services.back().name; };
        const auto other = std::find_if(services.begin(), services.end() - 1, same);
        if (other != services.end() - 1) {
            errors.add(service, vorn35::kNameFieldNumber,
                       "the name \"" + other->name + "\" is that of " + other->descriptor->name());
        }
    }
    return services;
}

}  // namespace vorn_types
