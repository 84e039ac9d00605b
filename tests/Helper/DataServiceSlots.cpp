// The places of the methods that other builds of the layer fix: they are called by their place, not by their name.
#define CINTERFACE  // the interfaces as tables of functions
#include "TKDataServices.h"

#include <windows.h>

#include <cstddef>

#define SLOT_OF(Interface, Method) (offsetof(Interface##Vtbl, Method) / sizeof(void*) - 2)  // from 1, after IUnknown

static_assert(SLOT_OF(ITKDSUriAccessFactory, OpenUriAs) == 1);
static_assert(SLOT_OF(ITKDSDirectory, OpenEntryAs) == 5);
static_assert(SLOT_OF(ITKCFStringList, Insert) == 5);
static_assert(SLOT_OF(ITKCFStringList, GetConstAccessor) == 9);
static_assert(SLOT_OF(ITKDSMetaDataExtractionOptions, CreateMetaData) == 1);
static_assert(SLOT_OF(ITKDSMetaDataReader, Extract) == 5);
static_assert(SLOT_OF(ITKDSMetaData, GetGeneralMetaData) == 1);
