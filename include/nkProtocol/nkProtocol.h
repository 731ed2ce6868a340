#pragma once

/// Everything that libnkProtocol offers.
#include "nkProtocol/configMessages.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"
#include "nkProtocol/imageMessage.h"
#include "nkProtocol/message.h"
#include "nkProtocol/protocol.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/serializer.h"
#include "nkProtocol/stateMessages.h"
#include "nkProtocol/statisticsMessages.h"
#include "nkProtocol/telegram.h"
#include "nkProtocol/telegramPart.h"
#include "nkProtocol/vector.h"
