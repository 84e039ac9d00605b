// The platform's DirectShow headers, in the order in which they need one another.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <strmif.h>
#include <uuids.h>
#include <vfwmsgs.h>
