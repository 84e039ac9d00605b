// All streams of the framework: their creation functions and the mode word.
#pragma once

#include "framework/streams/CBufferedStream.h"
#include "framework/streams/CLocalFileSystemStream.h"
#include "framework/streams/CMemoryStream.h"
#include "framework/streams/CReplayStream.h"
#include "framework/streams/TKFCreateStreamFromUri.h"
#include "framework/streams/TKFCreateTempFileStream.h"
#include "framework/streams/TKFStreamMode.h"
