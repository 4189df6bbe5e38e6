#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>

int main() {
  bool ran = false;
  DispatchQueue::mainQueue()->async([&ran] { ran = true; });
  return NSRunLoop::mainRunLoop().runUntil([&ran] { return ran; }, 10.0) ? 0 : 1;
}
