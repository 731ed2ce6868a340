#include "nkProtocol/telegramPart.h"
