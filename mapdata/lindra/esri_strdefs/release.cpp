// SPDX-License-Identifier: MIT
//
// The release of decoded structures, driven by the tables that decoded them.

#include "lindra.h"

#include "esri_strdefs/registry.hpp"

#include <cstdlib>
#include <cstring>

using namespace lindra::esri;

namespace {

void free_record(void *record) {
    lindra_free_esri(ESRI_RECORD, record);
}

void clear_file(SHPFILE &file) {
    freetbl(file.records, free_record);
}

void clear_record(SHPRECORD &record) {
    lindra_free_esri(record.shape_type, record.shape);
}

void clear_dbase_file(DbaseFile &dbf) {
    freetbl(dbf.fields, free); // no descriptor owns anything
    free(dbf.records);
}

void clear_members(int str_type, const lindra::StrdefsEntry &entry, void *structure) {
    if (entry.fields) Engine::free_arrays(entry, structure);
    if (str_type == ESRI_FILE) clear_file(*static_cast<SHPFILE *>(structure));
    if (str_type == ESRI_RECORD) clear_record(*static_cast<SHPRECORD *>(structure));
    if (str_type == DBASE_FILE) clear_dbase_file(*static_cast<DbaseFile *>(structure));
}

} // namespace

void lindra_clear_esri(int str_type, void *structure) {
    Engine::init();
    const lindra::StrdefsEntry *entry = Engine::find(str_type);
    if (!entry || !structure) return;
    clear_members(str_type, *entry, structure);
    memset(structure, 0, static_cast<size_t>(entry->size));
}

void lindra_free_esri(int str_type, void *structure) {
    lindra_clear_esri(str_type, structure);
    free(structure);
}
