#include "nkSupport/tLog.h"
