#include <ZELKit/ZELOrientationMath.h>
#include <ZELKit/ZELVersion.h>

#include <stdio.h>

int main(void) {
  printf("%.1f %s", ZELKitVersionNumber, (const char*)ZELKitVersionString);
  return lerpf(2.0f, 4.0f, 0.5f) == 3.0f ? 0 : 1;
}
