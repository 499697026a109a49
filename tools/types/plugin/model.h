/// @file
/// What an interface file says, checked. Every back end writes its language from this, so that all of them refuse the same
/// files.
#pragma once

#include <google/protobuf/descriptor.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn_types {

namespace pb = google::protobuf;

enum class Kind : std::uint8_t { call, signal, event, information, command, datagram };

/// Name of the option of a kind, by number.
inline constexpr std::array<std::string_view, 6> c_kind_names = {"call",        "signal",  "event",
                                                                 "information", "command", "datagram"};

struct Method {
    const pb::MethodDescriptor* descriptor = nullptr;
    Kind kind = Kind::call;
    std::uint32_t code = 0;
    double limit = 1;           ///< Call and signal: seconds.
    std::uint32_t history = 1;  ///< Information and command: values that are kept.
    bool multicast = false;     ///< Information.
    std::string name;           ///< Of the descriptor, as read_all.
    std::string comment;        ///< Before the rpc in the file; empty if there is none.

    /// The message that the kind carries. A call also carries the answer, `descriptor->output_type()`.
    const pb::Descriptor* payload() const {
        return is_from_service() ? descriptor->output_type() : descriptor->input_type();
    }
    bool is_from_service() const { return kind == Kind::event || kind == Kind::information || kind == Kind::datagram; }
};

struct Service {
    const pb::ServiceDescriptor* descriptor = nullptr;
    std::string name;  ///< In the directory.
    std::string comment;
    std::vector<Method> methods;
};

/// Reads the services of a file that have options of ours; others are left alone.
/// @param _errors_ receives a line "file:line:column: message" for each fault; the result is incomplete then.
std::vector<Service> read_services(const pb::FileDescriptor* _file, std::string* _errors_);

}  // namespace vorn_types
