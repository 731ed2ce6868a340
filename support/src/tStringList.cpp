#include "nkSupport/tStringList.h"
