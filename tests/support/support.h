// All of the test support.
#pragma once

#include "tests/support/files.h"
#include "tests/support/pictures.h"
#include "tests/support/robust.h"
