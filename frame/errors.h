// The result codes of the whole library; the public header tells what each means.
#pragma once

#include "frame/types.h"

namespace orv
{

enum ErrorCode : i16 {
    kOk = ORV_OK,
    kReaderDone = 1,  // what a reader returns for success
    kOutOfMemory = ORV_OUT_OF_MEMORY,
    kUnreadable = ORV_UNREADABLE,
    kBadData = ORV_BAD_DATA,
    kNoBitmap = ORV_NO_BITMAP,
    kNotSupported = ORV_NOT_SUPPORTED,
    kBadHandle = ORV_BAD_HANDLE,
    kNotCreated = ORV_NOT_CREATED,
    kNoSuchPage = ORV_NO_SUCH_PAGE,
    kShortWrite = ORV_SHORT_WRITE,
};

}  // namespace orv
