#include "entry_points.h"
#include "sqlite_extension.h"

VEXA_DATASTORE_ENTRY_POINTS(vexa::datastore::sqlite_plugin::SqliteExtension)
