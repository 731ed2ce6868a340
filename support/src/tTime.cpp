#include "nkSupport/tTime.h"
