// The C++ back end: an abstract service and a client for each service, all of it declarations that instantiate the classes
// of Vorn35/protobuf.

#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <map>
#include <memory>
#include <sstream>

#include "back_end.h"

namespace vorn_types {

namespace {

using Variables = std::map<std::string, std::string>;

/// Keywords that an rpc may become, and the members of the base classes.
constexpr std::string_view c_taken[] = {
    // keywords
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break", "case", "catch", "char",
    "class", "compl", "concept", "const", "consteval", "constexpr", "constinit", "const_cast", "continue", "co_await",
    "co_return", "co_yield", "decltype", "default", "delete", "do", "double", "dynamic_cast", "else", "enum",
    "explicit", "export", "extern", "false", "float", "for", "friend", "goto", "if", "inline", "int", "long", "mutable",
    "namespace", "new", "noexcept", "not", "not_eq", "nullptr", "operator", "or", "or_eq", "private", "protected",
    "public", "register", "reinterpret_cast", "requires", "return", "short", "signed", "sizeof", "static",
    "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local", "throw", "true", "try",
    "typedef", "typeid", "typename", "union", "unsigned", "using", "virtual", "void", "volatile", "wchar_t", "while",
    "xor", "xor_eq",
    // Service and Client
    "address", "attach", "detach", "is_connected", "is_started", "on_connect", "on_disconnect", "start",
    "start_for_python", "stop", "stop_and_wait", "wait_until_ready"};

std::string identifier(const std::string& _name) {
    return std::ranges::find(c_taken, _name) == std::end(c_taken) ? _name : _name + "_";
}

/// A number as C++ reads it back exactly.
std::string literal(double _value) {
    std::ostringstream out;
    out.precision(17);
    out << _value;
    return out.str();
}

void write_comment(pb::io::Printer* _printer, const std::string& _comment, const std::string& _otherwise) {
    std::istringstream lines(_comment.empty() ? _otherwise : _comment);
    for (std::string line; std::getline(lines, line);) {
        const bool has_space = line.empty() || line.front() == ' ';
        _printer->Print("///$space$$line$\n", "space", has_space ? "" : " ", "line", line);
    }
}

Variables variables_of(const Method& _method) {
    const bool is_call = _method.kind == Kind::call;
    return {{"name", identifier(_method.name)},
            {"rpc", _method.descriptor->name()},
            {"code", std::to_string(_method.code)},
            {"payload", pb::compiler::cpp::QualifiedClassName(_method.payload())},
            {"answer", is_call ? pb::compiler::cpp::QualifiedClassName(_method.descriptor->output_type()) : ""},
            {"limit", literal(_method.limit)},
            {"history", std::to_string(_method.history)},
            {"multicast", _method.multicast ? "true" : "false"}};
}

constexpr std::string_view c_call_handler =
    "virtual ::Vorn35::typed::Result<$answer$> $name$(const $payload$& _request,\n"
    "    const ::Vorn35::typed::Call_context& _context) = 0;\n";
constexpr std::string_view c_handler =
    "virtual void $name$(const $payload$& _message, const ::Vorn35::typed::Call_context& _context) = 0;\n";

/// What a service has in public for a kind, and in private.
struct Service_text {
    std::string_view open;
    std::string_view hidden;
};
Service_text service_text(Kind _kind) {
    switch (_kind) {
        case Kind::call:
            return {c_call_handler,
                    "::Vorn35::typed::Call_handler<$service$, $payload$, $answer$> vorn35_$name${*this, $code$, "
                    "&$service$::$name$};\n"};
        case Kind::signal:
            return {c_handler,
                    "::Vorn35::typed::Signal_handler<$service$, $payload$> vorn35_$name${*this, $code$, "
                    "&$service$::$name$};\n"};
        case Kind::event:
            return {"::Vorn35::typed::Event_publisher<$payload$> $name${*this, $code$};\n", ""};
        case Kind::information:
            return {"::Vorn35::typed::Information_publisher<$payload$> $name${*this, $code$, $history$};\n", ""};
        case Kind::command:
            return {
                "virtual void $name$(const $payload$& _message, const ::Vorn35::typed::Call_context& _context) = 0;\n"
                "/// The newest values of a client, at most `_size` of them, newest first.\n"
                "::Vorn35::typed::History<$payload$> $name$_history(::Vorn35::Addr _client, std::size_t _size) {\n"
                "    return vorn35_$name$.history(_client, _size);\n"
                "}\n",
                "::Vorn35::typed::Command_handler<$service$, $payload$> vorn35_$name${*this, $code$, $history$, "
                "&$service$::$name$};\n"};
        case Kind::datagram:
            return {"::Vorn35::typed::Datagram_publisher<$payload$> $name${*this, $code$};\n", ""};
    }
    return {};
}

std::string_view client_text(Kind _kind) {
    switch (_kind) {
        case Kind::call:
            return "::Vorn35::typed::Call<$payload$, $answer$> $name${*this, $code$, $limit$};\n";
        case Kind::signal:
            return "::Vorn35::typed::Signal<$payload$> $name${*this, $code$, $limit$};\n";
        case Kind::event:
            return "::Vorn35::typed::Event<$payload$> $name${*this, $code$};\n";
        case Kind::information:
            return "::Vorn35::typed::Information<$payload$> $name${*this, $code$, $history$, $multicast$};\n";
        case Kind::command:
            return "::Vorn35::typed::Command<$payload$> $name${*this, $code$, $history$};\n";
        case Kind::datagram:
            return "::Vorn35::typed::Datagram<$payload$> $name${*this, $code$};\n";
    }
    return {};
}

void write_service(pb::io::Printer* _printer, const Service& _service) {
    const std::string name = _service.descriptor->name() + "_service";
    const Variables of_service{{"service", name}, {"directory", _service.name}};
    _printer->Print("\n");
    write_comment(_printer, _service.comment, "The service \"" + _service.name + "\".");
    _printer->Print(of_service,
                    "/// Derive from it, write the handlers, and `start`. Call `stop` before an object is destroyed.\n"
                    "class $service$ : public ::Vorn35::typed::Service {\n"
                    "public:\n");
    _printer->Indent();
    _printer->Indent();
    _printer->Print(of_service, "$service$() : ::Vorn35::typed::Service(\"$directory$\") {}\n");
    std::string hidden;
    for (const Method& method : _service.methods) {
        Variables variables = variables_of(method);
        variables["service"] = name;
        const Service_text text = service_text(method.kind);
        _printer->Print("\n");
        write_comment(_printer, method.comment,
                      "The " + std::string(c_kind_names.at(static_cast<std::size_t>(method.kind))) + " " +
                          method.descriptor->name() + ".");
        _printer->Print(variables, text.open.data());
    }
    _printer->Outdent();
    _printer->Outdent();
    _printer->Print("\nprivate:\n");
    _printer->Indent();
    _printer->Indent();
    for (const Method& method : _service.methods) {
        Variables variables = variables_of(method);
        variables["service"] = name;
        _printer->Print(variables, service_text(method.kind).hidden.data());
    }
    _printer->Outdent();
    _printer->Outdent();
    _printer->Print("};\n");
}

void write_client(pb::io::Printer* _printer, const Service& _service) {
    const Variables of_client{{"client", _service.descriptor->name() + "_client"}, {"directory", _service.name}};
    _printer->Print(of_client,
                    "\n/// A client of the service \"$directory$\".\n"
                    "class $client$ : public ::Vorn35::typed::Client {\n"
                    "public:\n");
    _printer->Indent();
    _printer->Indent();
    _printer->Print(of_client,
                    "$client$() : ::Vorn35::typed::Client(\"$directory$\") {}\n"
                    "~$client$() override { stop(); }\n");
    for (const Method& method : _service.methods) {
        _printer->Print("\n");
        write_comment(_printer, method.comment,
                      "The " + std::string(c_kind_names.at(static_cast<std::size_t>(method.kind))) + " " +
                          method.descriptor->name() + ".");
        _printer->Print(variables_of(method), client_text(method.kind).data());
    }
    _printer->Outdent();
    _printer->Outdent();
    _printer->Print("};\n");
}

}  // namespace

void write_cpp(const pb::FileDescriptor* _file, const std::vector<Service>& _services,
               pb::compiler::GeneratorContext* _context) {
    const std::string base = pb::compiler::cpp::StripProto(_file->name());
    const std::unique_ptr<pb::io::ZeroCopyOutputStream> stream(_context->Open(base + ".vorn35.h"));
    pb::io::Printer printer(stream.get(), '$');
    printer.Print(
        "// Generated by protoc-gen-vorn35 from $file$. Do not edit.\n"
        "#pragma once\n"
        "\n"
        "#include \"Vorn35/protobuf/Client.h\"\n"
        "#include \"Vorn35/protobuf/Service.h\"\n"
        "#include \"$base$.pb.h\"\n",
        "file", _file->name(), "base", base);
    std::string space = _file->package();
    for (std::size_t at = 0; (at = space.find('.', at)) != std::string::npos; at += 2) space.replace(at, 1, "::");
    if (!space.empty()) printer.Print("\nnamespace $space$ {\n", "space", space);
    for (const Service& service : _services) {
        write_service(&printer, service);
        write_client(&printer, service);
    }
    if (!space.empty()) printer.Print("\n}  // namespace $space$\n", "space", space);
}

}  // namespace vorn_types
