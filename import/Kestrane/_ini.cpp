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

/// The value of a key; nothing when there is no INI file to read.
template <class T>
std::optional<T> read_value(const char* _file, const char* _section, const char* _key) {
    // Most processes have no file, and the first exception of a process, streams included, costs a third of a
    // millisecond.
    if (::faccessat(AT_FDCWD, _file, R_OK, AT_EACCESS) != 0) return std::nullopt;
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::read_ini(_file, tree);
    } catch (const boost::property_tree::ini_parser_error&) {
        return std::nullopt;
    }
    return tree.get_child(std::string(_section) + "." + _key).get_value<T>();
}

}  // namespace

std::string get_lwr_string_from_ini_file(const char* file, const char* section, const char* key,
                                         const char* default_value) {
    auto value = read_value<std::string>(file, section, key);
    if (!value) return default_value;
    for (char& c : *value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return *value;
}

int get_integer_from_ini_file(const char* file, const char* section, const char* key, int default_value) {
    return read_value<int>(file, section, key).value_or(default_value);
}

}  // namespace Kestrane
