#include "sprig/version.h"

const char* sprig_version(void)
{
    return SPRIG_VERSION_STRING;
}
