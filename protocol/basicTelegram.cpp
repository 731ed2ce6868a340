#include "nkProtocol/basicTelegram.h"
