// All of the test support.
#pragma once

#include "frame/errors.h"
#include "tests/support/files.h"
#include "tests/support/pictures.h"
#include "tests/support/robust.h"
