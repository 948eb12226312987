#include "codec/buffer.h"

unsigned char c_buf[C_BUF_SIZE];
