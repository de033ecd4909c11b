/* Quorin engine: the project family of the exported C interface. */
#ifndef QUORIN_PROJECT_H
#define QUORIN_PROJECT_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* Project files. Reading appends to what the project holds; both return 1 on success. */
QUORIN_API uint32_t project_read_from_file_xml(qr_project* project, const qr_char* path);
QUORIN_API uint32_t project_write_xml_to_file(qr_project* project, const qr_char* path);

QUORIN_END_DECLS

#endif
