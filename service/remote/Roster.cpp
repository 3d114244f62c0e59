#include "service/remote/Roster.h"

#include <algorithm>
#include <variant>

#include "service/remote/Audit.h"

namespace remote {
namespace {

constexpr uint16_t kTryLater = 1013;

uint16_t Saturate16(int value) { return static_cast<uint16_t>(std::clamp(value, 0, 0xFFFF)); }

}  // namespace

Roster::Roster(CommandQueue& commands, bool viewOnly, size_t maxViewers,
               std::chrono::milliseconds answerLimit)
    : commands_(commands), viewOnly_(viewOnly), maxViewers_(maxViewers), answerLimit_(answerLimit) {}

// ---- coming and going

ViewerId Roster::Join(const std::shared_ptr<ViewerChannel>& channel, const std::string& address) {
  const Locked locked(lock_);
  if (viewers_.size() >= maxViewers_) {
    Audit("viewer from %s turned away: %zu viewers are there", address.c_str(), viewers_.size());
    channel->Close(kTryLater, "too many viewers");
    return 0;
  }
  const ViewerId id = ++lastId_;
  viewers_[id] = {channel, address};
  Audit("viewer %u from %s has come", id, address.c_str());
  channel->SendText(WelcomeText(id, viewOnly_));
  channel->SendText(PermissionsText(permissions_));
  channel->SendText(StateText(state_));
  if (layout_) channel->SendText(LayoutText(*layout_));
  if (controller_ == 0 && permissions_.control && viewers_.size() == 1)
    GiveControlLocked(id);
  else
    TellControlLocked();
  return id;
}

size_t Roster::Leave(ViewerId id) {
  const Locked locked(lock_);
  if (viewers_.erase(id) == 0) return viewers_.size();
  Audit("viewer %u has gone", id);
  WithdrawLocked(id);
  if (controller_ == id)
    PassControlLocked(viewers_.size() == 1 ? viewers_.begin()->first : 0);
  else
    TellControlLocked();
  return viewers_.size();
}

size_t Roster::Count() {
  const Locked locked(lock_);
  return viewers_.size();
}

// ---- who controls

void Roster::GiveControlLocked(ViewerId id) {
  ReleaseHeldLocked();
  controller_ = id;
  lastInput_ = Clock::now();
  if (id != 0)
    Audit("viewer %u from %s controls", id, viewers_[id].address.c_str());
  else
    Audit("nobody controls");
  TellControlLocked();
  for (Request& request : requests_) AskControllerLocked(request);
}

void Roster::PassControlLocked(ViewerId heir) {
  ViewerId next = permissions_.control ? heir : 0;
  if (permissions_.control && !requests_.empty()) {
    next = requests_.front().viewer;
    requests_.pop_front();
    viewers_[next].channel->SendText(AnswerText(true, "You control the desktop."));
  }
  // What one has locked who is gone, the next has not asked for.
  if (lockAsked_ || blankAsked_) {
    lockAsked_ = blankAsked_ = false;
    PostSettingsLocked();
  }
  GiveControlLocked(next);
}

void Roster::AskControllerLocked(Request& request) {
  request.deadline = Clock::now() + answerLimit_;
  const auto controller = viewers_.find(controller_);
  if (controller == viewers_.end()) return;
  controller->second.channel->SendText(AskText(request.viewer, viewers_[request.viewer].address));
}

void Roster::WithdrawLocked(ViewerId id) {
  if (std::erase_if(requests_, [id](const Request& request) { return request.viewer == id; }) == 0) return;
  const auto controller = viewers_.find(controller_);
  if (controller != viewers_.end()) controller->second.channel->SendText(WithdrawText(id));
}

void Roster::RefuseLocked(ViewerId id, std::string_view why) {
  Audit("viewer %u was refused control", id);
  viewers_[id].channel->SendText(AnswerText(false, why));
}

void Roster::Take(ViewerId id, const WantControl& message) {
  const Locked locked(lock_);
  if (!viewers_.contains(id)) return;
  if (!message.want) {
    WithdrawLocked(id);
    if (controller_ == id) PassControlLocked(0);
    return;
  }
  const auto mine = [id](const Request& request) { return request.viewer == id; };
  if (controller_ == id || std::any_of(requests_.begin(), requests_.end(), mine)) return;
  if (!permissions_.control) {
    RefuseLocked(id, "This desktop can only be watched.");
  } else if (controller_ == 0) {
    viewers_[id].channel->SendText(AnswerText(true, "You control the desktop."));
    GiveControlLocked(id);
  } else {
    Audit("viewer %u asks for control", id);
    AskControllerLocked(requests_.emplace_back(Request{id, {}}));
  }
}

void Roster::Take(ViewerId id, const AnswerRequest& message) {
  const Locked locked(lock_);
  if (id == 0 || controller_ != id) return;
  const auto found = std::find_if(requests_.begin(), requests_.end(),
                                  [&](const Request& request) { return request.viewer == message.viewer; });
  if (found == requests_.end()) return;
  requests_.erase(found);
  if (!message.grant) return RefuseLocked(message.viewer, "The viewer who controls has refused.");
  viewers_[message.viewer].channel->SendText(AnswerText(true, "You control the desktop."));
  GiveControlLocked(message.viewer);
}

void Roster::ExpireRequests(Clock::time_point now) {
  const Locked locked(lock_);
  while (!requests_.empty() && requests_.front().deadline <= now) {
    const ViewerId viewer = requests_.front().viewer;
    WithdrawLocked(viewer);
    RefuseLocked(viewer, "The viewer who controls has not answered.");
  }
}

// ---- what the controller does

bool Roster::Take(ViewerId id, const PageInput& input) {
  const Locked locked(lock_);
  if (id == 0 || id != controller_ || state_.phase != Phase::kRunning) return false;
  lastInput_ = Clock::now();
  if (const auto* const pointer = std::get_if<PointerInput>(&input)) DoLocked(OnDesktopLocked(*pointer));
  if (const auto* const key = std::get_if<KeyInput>(&input)) DoLocked(*key);
  if (const auto* const character = std::get_if<CharacterInput>(&input)) DoLocked(*character);
  if (std::holds_alternative<ReleaseInput>(input)) ReleaseHeldLocked();
  return true;
}

void Roster::DoLocked(const PointerInput& input) {
  held_.Note(input);
  commands_.Post(MakePointerRecord(input));
}

void Roster::DoLocked(const KeyInput& input) {
  held_.Note(input);
  commands_.Post(MakeKeyRecord(input));
}

void Roster::DoLocked(const CharacterInput& input) {
  held_.Note(input);
  commands_.Post(MakeCharacterRecord(input));
}

PointerInput Roster::OnDesktopLocked(PointerInput input) const {
  input.x = Saturate16(input.x + corner_.x);
  input.y = Saturate16(input.y + corner_.y);
  return input;
}

void Roster::ReleaseHeldLocked() {
  for (const CommandRecord& record : held_.Release()) commands_.Post(record);
}

void Roster::ForgetHeld() {
  const Locked locked(lock_);
  static_cast<void>(held_.Release());
}

void Roster::EndControl() {
  const Locked locked(lock_);
  ReleaseHeldLocked();
  if (!lockAsked_ && !blankAsked_) return;
  lockAsked_ = blankAsked_ = false;
  TellControlLocked();
}

void Roster::Take(ViewerId id, const AskSettings& message) {
  const Locked locked(lock_);
  if (id == 0 || id != controller_) return;
  lastInput_ = Clock::now();
  lockAsked_ = message.lock && permissions_.lock;
  blankAsked_ = message.blank && permissions_.blank;
  PostSettingsLocked();
  TellControlLocked();
}

void Roster::PostSettingsLocked() {
  if (state_.phase == Phase::kRunning) commands_.Post(ViewRecordLocked(CMD_VIEW_SETTINGS));
}

CommandRecord Roster::ViewRecordLocked(CommandCode code) const {
  return MakeViewRecord(code, lockAsked_, blankAsked_);
}

CommandRecord Roster::ViewRecord(CommandCode code) {
  const Locked locked(lock_);
  return ViewRecordLocked(code);
}

// ---- what all are told

void Roster::TellAllLocked(const std::string& text) {
  for (const auto& [id, viewer] : viewers_) viewer.channel->SendText(text);
}

void Roster::TellControlLocked() {
  TellAllLocked(ControlText({controller_, viewers_.size(), lockAsked_, blankAsked_}));
}

void Roster::Answer(ViewerId id, const Ping& ping) {
  const Locked locked(lock_);
  const auto found = viewers_.find(id);
  if (found != viewers_.end()) found->second.channel->SendText(PongText(ping.time));
}

void Roster::SetState(const SessionState& state) {
  const Locked locked(lock_);
  if (state_ == state) return;
  if (IsFinal(state.phase) && state_.text != state.text) Audit("%s", state.text.c_str());
  state_ = state;
  lastInput_ = Clock::now();
  TellAllLocked(StateText(state_));
}

SessionState Roster::State() {
  const Locked locked(lock_);
  return state_;
}

void Roster::SetPermissions(const Permissions& permissions) {
  const Locked locked(lock_);
  if (permissions_ == permissions) return;
  permissions_ = permissions;
  TellAllLocked(PermissionsText(permissions_));
  const bool taken = (lockAsked_ && !permissions_.lock) || (blankAsked_ && !permissions_.blank);
  lockAsked_ = lockAsked_ && permissions_.lock;
  blankAsked_ = blankAsked_ && permissions_.blank;
  if (taken) {
    PostSettingsLocked();
    TellControlLocked();
  }
  if (!permissions_.control && controller_ != 0) GiveControlLocked(0);
  if (permissions_.control && controller_ == 0 && viewers_.size() == 1)
    GiveControlLocked(viewers_.begin()->first);
}

void Roster::SetCorner(ScreenSource::Origin corner) {
  const Locked locked(lock_);
  corner_ = corner;
}

void Roster::TellPointer(int x, int y) {
  const Locked locked(lock_);
  // The observer counts from the desktop's edge where that is negative.
  TellAllLocked(PointerText(x - std::max(corner_.x, 0), y - std::max(corner_.y, 0)));
}

void Roster::TellLayout(uint8_t layout) {
  const Locked locked(lock_);
  layout_ = layout;
  TellAllLocked(LayoutText(layout));
}

std::optional<Roster::Clock::duration> Roster::IdleTime(Clock::time_point now) {
  const Locked locked(lock_);
  if (controller_ == 0 || state_.phase != Phase::kRunning) return std::nullopt;
  return now - lastInput_;
}

}  // namespace remote
