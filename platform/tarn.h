// The whole platform interface in one include, for programs that use most
// of it (the agent, the stand-in services).
#ifndef TARN_PLATFORM_TARN_H_
#define TARN_PLATFORM_TARN_H_

#include "platform/allocator.h"
#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/handler.h"
#include "platform/looper.h"
#include "platform/message.h"
#include "platform/paths.h"
#include "platform/runner.h"
#include "platform/store.h"

#endif  // TARN_PLATFORM_TARN_H_
