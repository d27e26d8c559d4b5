// Symbol visibility of the vexa datastore library.
//
// The library is built with hidden visibility; every public class, function and
// object carries VEXA_DATASTORE_EXPORT so that it is part of the shared object's
// interface, and nothing else is.
#ifndef VEXA_DATASTORE_EXPORT_H_
#define VEXA_DATASTORE_EXPORT_H_

#define VEXA_DATASTORE_EXPORT __attribute__((visibility("default")))

#endif  // VEXA_DATASTORE_EXPORT_H_
