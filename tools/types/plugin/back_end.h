/// @file
/// One function for each language.
#pragma once

#include <google/protobuf/compiler/code_generator.h>

#include <vector>

#include "model.h"

namespace vorn_types {

/// Writes the files of one language for one interface file without faults.
using Back_end = void(const pb::FileDescriptor* _file, const std::vector<Service>& _services,
                      pb::compiler::GeneratorContext* _context);

/// name.vorn35.h, beside protoc's name.pb.h.
Back_end write_cpp;

}  // namespace vorn_types
