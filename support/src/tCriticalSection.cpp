#include "nkSupport/tCriticalSection.h"
