#include "Kestrane/_ini.h"

// g++ 12 takes an empty boost::optional<int> for an uninitialised one when sanitizers are on.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <fcntl.h>
#include <unistd.h>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <cctype>
#include <optional>

namespace Kestrane {

namespace {

/// The file's tree; nothing when there is no INI file to read.
std::optional<boost::property_tree::ptree> read_file(const char* _file) {
    // Most processes have no file, and the first exception of a process, streams included, costs a third of a
    // millisecond.
    if (::faccessat(AT_FDCWD, _file, R_OK, AT_EACCESS) != 0) return std::nullopt;
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::read_ini(_file, tree);
    } catch (const boost::property_tree::ini_parser_error&) {
        return std::nullopt;
    }
    return tree;
}

std::string path_of(const char* _section, const char* _key) {
    return std::string(_section) + "." + _key;
}

std::string lower(std::string _value) {
    for (char& c : _value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return _value;
}

}  // namespace

std::string get_lwr_string_from_ini_file(const char* file, const char* section, const char* key,
                                         const char* default_value) {
    const auto tree = read_file(file);
    return tree ? lower(tree->get_child(path_of(section, key)).get_value<std::string>()) : default_value;
}

std::string get_optional_lwr_string_from_ini_file(const char* file, const char* section, const char* key,
                                                  const char* default_value) {
    const auto tree = read_file(file);
    return tree ? lower(tree->get<std::string>(path_of(section, key), default_value)) : default_value;
}

int get_integer_from_ini_file(const char* file, const char* section, const char* key, int default_value) {
    const auto tree = read_file(file);
    return tree ? tree->get_child(path_of(section, key)).get_value<int>() : default_value;
}

}  // namespace Kestrane
