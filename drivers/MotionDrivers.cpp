#include <ZELPlatform/GameController.h>

GCThumbsticks GCThumbsticksCurrent() { return {}; }
