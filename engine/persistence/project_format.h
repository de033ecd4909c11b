// Words of the project file shared by the writer and the reader.
#pragma once

namespace quorin_engine {

// The default namespace of every element; the same in all places it is written.
constexpr const char* project_namespace_uri = "http://quorin.invalid/schema/procgen";
constexpr const char* project_schema_file = "../engine/project-format.xsd";
constexpr const char* xml_schema_instance_uri = "http://www.w3.org/2001/XMLSchema-instance";

}  // namespace quorin_engine
