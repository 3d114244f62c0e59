#include "service/remote/SessionState.h"

#include "common/KCFolderManager.h"

namespace remote {
namespace {

std::string LookInTheLog() {
  return std::string("Try again; the log of that machine, ") + FetchFolder(kFolderLogFile) + ", says more.";
}

}  // namespace

bool IsFinal(Phase phase) {
  return phase == Phase::kFailed || phase == Phase::kNoDisplay || phase == Phase::kRefused ||
         phase == Phase::kEnded;
}

SessionState Starting() { return {Phase::kStarting, "The desktop is being started.", ""}; }

SessionState Waiting() {
  return {Phase::kWaiting, "The user at the machine has been asked for permission.",
          "The picture comes as soon as the user allows it."};
}

SessionState Running() { return {Phase::kRunning, "", ""}; }

SessionState Restarting() {
  return {Phase::kRestarting, "The desktop's observer has gone, and is being started again.", ""};
}

SessionState NoDisplay(const std::string& why) {
  const bool wayland = why.find("Wayland") != std::string::npos;
  return {Phase::kNoDisplay, "There is no desktop to show: " + why + ".",
          wayland
              ? "Log in with an X session at the machine, then try again."
              : "Log in at the machine, or start the service where its display is known, then try again."};
}

SessionState FailedToStart() {
  return {Phase::kFailed, "The desktop's observer could not be started.", LookInTheLog()};
}

SessionState LostTooOften() {
  return {Phase::kFailed, "The desktop's observer has ended again and again.", LookInTheLog()};
}

SessionState RefusedBySettings() {
  return {Phase::kRefused, "The settings of this machine do not allow its desktop to be seen or controlled.",
          "An administrator can change the setting AllowControlObserve."};
}

SessionState RefusedByUser(std::chrono::seconds wait) {
  return {Phase::kRefused, "The user at the machine has not allowed it.",
          "Speak with the user, then try again. The user is not asked again for " +
              std::to_string(wait.count()) + " s."};
}

SessionState NobodyToAsk() {
  return {Phase::kRefused, "The user at the machine has to be asked, and nobody is there.",
          "Log in at the machine, then try again."};
}

SessionState CannotAskUser() {
  return {Phase::kRefused, "The user at the machine has to be asked, and cannot be.", LookInTheLog()};
}

SessionState Idle() {
  return {Phase::kEnded, "The session has ended, because nothing was done for a long time.",
          "Start it again to go on."};
}

SessionState EndedByService() {
  return {Phase::kEnded, "The session was ended at the machine.", "Start it again to go on."};
}

}  // namespace remote
