#include "tests/gpu/EaglSupport.h"

#include <thread>
#include <vector>

using namespace egltest;

namespace {

/// Both ways of giving a renderbuffer the images of a layer, and both of reading them upright.
class EaglDrawable : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    driver().capabilities().imageRenderbuffers = GetParam();
    driver().capabilities().packReverseRowOrder &= GetParam();
  }
  void TearDown() override { EAGLContext::setCurrentContext(nullptr); }

 private:
  CapabilitiesAsTheyAre asTheyAre_;
};

INSTANTIATE_TEST_SUITE_P(, EaglDrawable, testing::Values(true, false), [](const testing::TestParamInfo<bool>& info) {
  return info.param ? "ImageStorage" : "CopyOnPresent";
});

TEST_P(EaglDrawable, PresentedPicturesAreNotTouchedByLaterOnes) {
  for (const bool leavesContext : {true, false}) {
    SCOPED_TRACE(leavesContext ? "leaves its context between frames" : "keeps its context current");
    Canvas canvas(makeLayer(30, 20));
    canvas.makeCurrent();
    ASSERT_TRUE(canvas.remake());
    const std::vector<Pixel> colors{kRed, kGreen, kBlue, kRed, kBlue, kGreen, kRed, kGreen};
    std::vector<std::shared_ptr<ZELPlatform::LayerImage>> shown;
    for (const Pixel& color : colors) {
      if (leavesContext) {
        EAGLContext::setCurrentContext(nullptr);
        canvas.makeCurrent();
      }
      clearTo(color);
      if (!shown.empty()) {
        EXPECT_TRUE(isFilledWith(shown.back()->readBack(), colors[shown.size() - 1]));
      }
      ASSERT_TRUE(canvas.present());
      shown.push_back(front(canvas.layer));
    }
    for (size_t i = 0; i < shown.size(); ++i) EXPECT_TRUE(isFilledWith(shown[i]->readBack(), colors[i])) << i;
    GLint bound = 0;
    GLint width = 0;
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &bound);
    glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, &width);
    EXPECT_EQ(bound, static_cast<GLint>(canvas.renderbuffer));
    EXPECT_EQ(width, 30);
    EXPECT_EQ(canvas.layer->contentsStore()->presentCount(), colors.size());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  }
}

TEST_P(EaglDrawable, EveryPictureStartsFromZeroUnlessTheBackingIsRetained) {
  for (const bool retained : {false, true}) {
    SCOPED_TRACE(retained ? "retained" : "not retained");
    Canvas canvas(makeLayer(16, 8));
    canvas.layer->setDrawableProperties({retained});
    canvas.makeCurrent();
    ASSERT_TRUE(canvas.remake());
    ASSERT_TRUE(canvas.present());
    EXPECT_TRUE(isFilledWith(front(canvas.layer)->readBack(), kNothing));
    EXPECT_TRUE(canvas.show(kRed));

    // The state that the clear between pictures needs is the program's.
    canvas.makeCurrent();
    glClearColor(0.25F, 0.5F, 0.75F, 1.0F);
    glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
    glScissor(0, 0, 4, 8);
    glEnable(GL_SCISSOR_TEST);
    ASSERT_TRUE(canvas.present());
    EAGLContext::setCurrentContext(nullptr);
    canvas.makeCurrent();
    std::array<GLfloat, 4> color{};
    std::array<GLboolean, 4> mask{};
    glGetFloatv(GL_COLOR_CLEAR_VALUE, color.data());
    glGetBooleanv(GL_COLOR_WRITEMASK, mask.data());
    EXPECT_EQ(color, (std::array<GLfloat, 4>{0.25F, 0.5F, 0.75F, 1.0F}));
    EXPECT_EQ(mask, (std::array<GLboolean, 4>{GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE}));
    EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));

    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    clearTo(kGreen);
    ASSERT_TRUE(canvas.present());
    const auto picture = front(canvas.layer)->readBack();
    EXPECT_EQ(pixelAt(*picture, 3, 4), kGreen);
    EXPECT_EQ(pixelAt(*picture, 4, 4), retained ? kRed : kNothing);
  }
}

TEST_P(EaglDrawable, ReadsBackTheSizeOfTheLayerWithTheHighestRowFirst) {
  Canvas canvas(makeLayer(12.3, 7.7, 3.0));
  canvas.makeCurrent();
  ASSERT_TRUE(canvas.remake());
  clearTo(kBlue);
  glEnable(GL_SCISSOR_TEST);
  glScissor(0, 23, 5, 1);
  clearTo(kRed);
  ASSERT_TRUE(canvas.present());

  const auto image = front(canvas.layer);
  std::shared_ptr<CGImage> elsewhere;
  std::thread([&] { elsewhere = image->readBack(); }).join();
  const auto here = image->readBack();
  EXPECT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT);
  EXPECT_EQ(ZELPlatform::glInteger(GL_FRAMEBUFFER_BINDING), static_cast<GLint>(canvas.framebuffer));
  for (const auto& picture : {here, elsewhere}) {
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width(), 37U);
    EXPECT_EQ(picture->height(), 24U);
    EXPECT_EQ(pixelAt(*picture, 4, 0), kRed);
    EXPECT_EQ(pixelAt(*picture, 5, 0), kBlue);
    EXPECT_EQ(pixelAt(*picture, 4, 1), kBlue);
  }
}

TEST_P(EaglDrawable, ContextsThatDeleteEachOthersNamesGoOnDrawingIntoTheirOwnLayers) {
  Canvas first(makeLayer(10, 10));
  first.makeCurrent();
  ASSERT_TRUE(first.remake());
  ASSERT_TRUE(first.show(kRed));
  Canvas second(makeLayer(20, 20));
  second.makeCurrent();
  ASSERT_TRUE(second.remake());
  ASSERT_TRUE(second.show(kBlue));

  // The second one's framebuffer has, as a number, the name of the first one's renderbuffer.
  second.makeCurrent();
  second.layer->setFrame(CGRectMake(0, 0, 24, 24));
  second.framebuffer = first.renderbuffer;
  ASSERT_TRUE(second.remake(first.renderbuffer)) << "deleted there and used again";
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(first.show(kGreen));
    ASSERT_TRUE(second.show(kRed));
    EXPECT_TRUE(isFilledWith(front(first.layer)->readBack(), kGreen));
    EXPECT_TRUE(isFilledWith(front(second.layer)->readBack(), kRed));
    EXPECT_EQ(front(first.layer)->width(), 10U);
    EXPECT_EQ(front(second.layer)->width(), 24U);
  }

  // Remade, the first one's own deletions miss its renderbuffer, which must not live on through its old framebuffer.
  const GLuint oldFramebuffer = first.framebuffer;
  first.makeCurrent();
  ASSERT_TRUE(first.remake());
  ASSERT_NE(first.framebuffer, oldFramebuffer);
  glBindFramebuffer(GL_FRAMEBUFFER, oldFramebuffer);
  EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER),
            static_cast<GLenum>(GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT));
}

TEST_P(EaglDrawable, MemoryDoesNotGrow) {
  const auto images = [] { return ZELPlatform::pixelCounters().drawableImages.load(); };
  const int64_t before = images();
  {
    Canvas first(makeLayer(8, 8));
    Canvas second(makeLayer(8, 8));
    for (int remakes = 0; remakes < 200; ++remakes) {
      for (Canvas* canvas : {&first, &second}) {
        canvas->layer->setFrame(CGRectMake(0, 0, 8 + remakes % 7, 8));
        canvas->makeCurrent();
        ASSERT_TRUE(canvas->remake());
        for (int presents = 0; presents < 3; ++presents) ASSERT_TRUE(canvas->show(kRed));
      }
      ASSERT_LE(images() - before, 8);
    }
    for (int presents = 0; presents < 1000; ++presents) ASSERT_TRUE(first.show(kGreen));
    EXPECT_LE(images() - before, 8);
  }
  EXPECT_EQ(images(), before);
}

TEST_P(EaglDrawable, ALayerBacksOneRenderbufferAtATime) {
  Canvas first(makeLayer(8, 8));
  first.makeCurrent();
  ASSERT_TRUE(first.remake());
  ASSERT_TRUE(first.show(kRed));
  Canvas second(first.layer);
  second.makeCurrent();
  ASSERT_TRUE(second.remake());
  EXPECT_FALSE(first.show(kBlue));
  EXPECT_TRUE(isFilledWith(front(first.layer)->readBack(), kRed)) << "the picture stays until the next one is there";
  EXPECT_TRUE(second.show(kGreen));
  EXPECT_TRUE(isFilledWith(front(first.layer)->readBack(), kGreen));
}

TEST_P(EaglDrawable, RefusesWhatCannotBeDrawnInto) {
  Canvas canvas(makeLayer(8, 8));
  EXPECT_FALSE(canvas.context->renderbufferStorage(GL_RENDERBUFFER, canvas.layer)) << "not current";
  canvas.makeCurrent();
  EXPECT_FALSE(canvas.context->renderbufferStorage(GL_RENDERBUFFER, canvas.layer)) << "no renderbuffer";
  EXPECT_FALSE(canvas.present());
  GLuint name = 0;
  glGenRenderbuffers(1, &name);
  glBindRenderbuffer(GL_RENDERBUFFER, name);
  EXPECT_FALSE(canvas.present()) << "no layer";
  EXPECT_FALSE(canvas.context->renderbufferStorage(GL_FRAMEBUFFER, canvas.layer));
  EXPECT_FALSE(canvas.context->renderbufferStorage(GL_RENDERBUFFER, nullptr));
  EXPECT_FALSE(canvas.context->renderbufferStorage(GL_RENDERBUFFER, makeLayer(0, 8)));
  EXPECT_FALSE(canvas.context->renderbufferStorage(GL_RENDERBUFFER, makeLayer(8, 8, 1e9)));
  EXPECT_TRUE(canvas.context->renderbufferStorage(GL_RENDERBUFFER, canvas.layer));
  EXPECT_FALSE(canvas.context->presentRenderbuffer(GL_FRAMEBUFFER));
  EXPECT_TRUE(canvas.present());
}

TEST(EaglContext, IsCurrentOnOneThreadAndHeldThere) {
  EXPECT_EQ(EAGLContext::unavailableReason(), "");
  EXPECT_FALSE(EAGLContext::rendererDescription().empty());
  EXPECT_GE(EAGLContext::maximumTextureSize(), 64);
  EXPECT_FALSE(EAGLContext::create(static_cast<EAGLRenderingAPI>(3)));
  EXPECT_FALSE(EAGLContext::create(kEAGLRenderingAPIOpenGLES2, nullptr));

  auto context = EAGLContext::create(kEAGLRenderingAPIOpenGLES2);
  ASSERT_TRUE(context);
  auto sibling = EAGLContext::create(kEAGLRenderingAPIOpenGLES2, context->sharegroup());
  ASSERT_TRUE(sibling);
  EXPECT_EQ(sibling->sharegroup(), context->sharegroup());

  ASSERT_TRUE(EAGLContext::setCurrentContext(context));
  std::thread([&] {
    ASSERT_TRUE(EAGLContext::setCurrentContext(sibling));
    EXPECT_FALSE(EAGLContext::setCurrentContext(context)) << "current on another thread";
    EXPECT_FALSE(EAGLContext::currentContext());
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
    ASSERT_TRUE(EAGLContext::setCurrentContext(sibling));
  }).join();
  EXPECT_TRUE(EAGLContext::setCurrentContext(sibling)) << "the thread that had it is gone";

  const std::weak_ptr<EAGLContext> held = sibling;
  sibling.reset();
  EXPECT_EQ(EAGLContext::currentContext(), held.lock());
  EAGLContext::setCurrentContext(nullptr);
  EXPECT_TRUE(held.expired());
}

}  // namespace
