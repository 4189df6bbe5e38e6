#include <ZELKit/ZELFixedDirectionController.h>

#include <cmath>

std::shared_ptr<ZELFixedDirectionController> ZELFixedDirectionController::create() {
  return std::shared_ptr<ZELFixedDirectionController>(new ZELFixedDirectionController());
}

void ZELFixedDirectionController::attachToView(const std::shared_ptr<UIView>& /*view*/) {}

void ZELFixedDirectionController::detach() {}

void ZELFixedDirectionController::beginTransitionFromMatrix(GLKMatrix4 /*matrix*/) {}

void ZELFixedDirectionController::updateWithDeltaTime(float /*deltaTime*/) {
  const float angle = static_cast<float>(angle_);
  const float c = std::cos(angle);
  const float s = std::sin(angle);
  viewMatrix_ = {{c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1}};
  if (mirror_) {
    for (int element = 0; element < 16; element += 4) viewMatrix_.m[element] = -viewMatrix_.m[element];
  }
}
