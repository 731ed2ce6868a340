#include "nkSupport/base128.h"
