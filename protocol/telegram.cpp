#include "nkProtocol/telegram.h"
