/// @file
/// Readers of INI files. Each call parses the file anew.
///
/// No file, or a file that is not an INI file, gives the default. A file that lacks the section or the key, or whose value
/// is not a number where a number is needed, is an error: a file must contain all keys but the optional ones.
#pragma once

#include <string>

namespace Kestrane {

/// The value of a key, in lower case; the default as it is.
/// @throws std::runtime_error when the file lacks the section or the key.
std::string get_lwr_string_from_ini_file(const char* file, const char* section, const char* key,
                                         const char* default_value);

/// The same for a key that a file may lack, which gives the default, too.
std::string get_optional_lwr_string_from_ini_file(const char* file, const char* section, const char* key,
                                                  const char* default_value);

/// The value of a key, as a number.
/// @throws std::runtime_error when the file lacks the section or the key, or the value is not an `int`.
int get_integer_from_ini_file(const char* file, const char* section, const char* key, int default_value);

}  // namespace Kestrane
