#include "FakeModule.h"

KVR_FAKE_EXPORT int fake_nothing()
{
    return 0;
}
