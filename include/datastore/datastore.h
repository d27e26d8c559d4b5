// The vexa datastore library: everything public in one include.
#ifndef VEXA_DATASTORE_DATASTORE_H_
#define VEXA_DATASTORE_DATASTORE_H_

#include <datastore/columns.h>
#include <datastore/config.h>
#include <datastore/controller.h>
#include <datastore/export.h>
#include <datastore/extension.h>
#include <datastore/failing_since.h>
#include <datastore/failures.h>
#include <datastore/front_end.h>
#include <datastore/operations.h>
#include <datastore/parse_utility.h>
#include <datastore/records.h>
#include <datastore/source_parameters.h>
#include <datastore/vocabulary.h>
#include <provider/header.h>
#include <quillo1/quillo1.h>
#include <util/common_constants.h>
#include <util/fs.h>
#include <util/log.h>
#include <util/str.h>
#include <util/xml.h>

#endif  // VEXA_DATASTORE_DATASTORE_H_
