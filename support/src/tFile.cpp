#include "nkSupport/tFile.h"
