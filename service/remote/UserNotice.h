// What the user at the machine is told and asked, by the program kvnotify in that user's session.
#pragma once
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace remote {

// One thread at a time. A service of root's has the dispatcher start the program; any other starts it itself.
class UserNotice {
 public:
  enum class Answer {
    kAllowed,
    kRefused,  // or not answered in time
    kNobody,   // there is no display to ask on
    kNotAsked  // the program did not run as it should
  };

  UserNotice() = default;
  // Takes back a question that is open.
  ~UserNotice();
  UserNotice(const UserNotice&) = delete;
  UserNotice& operator=(const UserNotice&) = delete;

  // Says it for some seconds and waits for nothing.
  static void Show(const std::string& text);

  // Asks; one question at a time. `answered` is called on a thread of its own, unless the question was taken
  // back.
  void Ask(const std::string& text, std::chrono::milliseconds limit, std::function<void(Answer)> answered);
  void TakeBack();

 private:
  struct Question;

  std::shared_ptr<Question> question_;
};

}  // namespace remote
