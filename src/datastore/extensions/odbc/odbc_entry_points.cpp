#include "entry_points.h"
#include "odbc_extension.h"

VEXA_DATASTORE_ENTRY_POINTS(vexa::datastore::odbc_plugin::OdbcExtension)
