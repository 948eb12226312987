#include "codec/buffer.h"

unsigned char c_buf[kBufferSize];
