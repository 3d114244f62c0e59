// The screen that the observer shares in a mapped file.
#pragma once
#include "service/remote/ScreenSource.h"

namespace remote {

class SharedScreenSource : public ScreenSource {
 public:
  [[nodiscard]] Answer Ask() override;
  [[nodiscard]] int Descriptor() const override { return client_.Descriptor(); }
  [[nodiscard]] bool ObserverLives() override;
  void Drop() override { client_.Disconnect(); }
  [[nodiscard]] ScreenShape Shape() const override;
  [[nodiscard]] Origin Corner() const override { return {client_.Left(), client_.Top()}; }
  [[nodiscard]] const std::vector<rcserv::Rect>& Changes() const override { return client_.Changes(); }
  [[nodiscard]] PixelView Pixels() const override;

 private:
  rcserv::ScreenClient client_;
};

}  // namespace remote
