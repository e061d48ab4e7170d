#include "cli/resident/Resident.h"

#include <algorithm>
#include <utility>

namespace nookery::cli {

/// One conversation.
class Resident::Visitor {
  public:
    Visitor(Resident& resident, std::unique_ptr<LocalConnection> connection)
        : resident_(resident), connection_(std::move(connection)) {
        say(MessageKind::greeting, greetingText());
        connection_->follow([this](std::string_view bytes) { receive(bytes); });
    }

    bool waitsToRun() const { return stage_ == Stage::waiting; }
    bool isRunning() const { return stage_ == Stage::running; }
    bool wantsLibrary() const { return stage_ == Stage::wantsLibrary; }
    bool wantsEnd() const { return stage_ == Stage::wantsEnd; }

    void begin(Workspace& library) {
        stage_ = Stage::running;
        command_->begin(library);
    }
    void stop() {
        if (isRunning()) command_->stop();
    }
    void lend() { say(MessageKind::lent); }
    /// A command that waits for its caller would hold up for ever whoever wants the library.
    void waitForCallerNoMore() {
        if (isRunning()) command_->waitForCallerNoMore();
    }
    /// The command was not begun, and will not be.
    void refuse() {
        if (stage_ == Stage::greeted || stage_ == Stage::waiting) say(MessageKind::refused);
    }

  private:
    enum class Stage { greeted, waiting, running, wantsLibrary, wantsEnd, over };

    void say(MessageKind kind, std::string_view content = {}) {
        if (connection_) connection_->send(encoded(kind, content));
    }

    void receive(std::string_view bytes) {
        if (bytes.empty()) return leave();
        try {
            splitter_.add(bytes);
            while (const auto message = splitter_.next()) receive(*message);
        } catch (const Error&) {
            // Whoever cannot be understood is as good as gone.
            leave();
        }
    }

    void receive(const Message& message) {
        if (command_) return command_->receive(message);
        if (stage_ != Stage::greeted) throw Error("Nothing more was expected.");
        switch (message.kind) {
            case MessageKind::run:
                return prepare(parseCommandRequest(message.content));
            case MessageKind::borrow:
                stage_ = Stage::wantsLibrary;
                return resident_.publishWish();
            case MessageKind::end:
                stage_ = Stage::wantsEnd;
                return resident_.publishWish();
            default:
                throw Error("This is nothing to begin with.");
        }
    }

    void prepare(CommandRequest request) {
        // What would lie elsewhere for the caller, the caller must do alone.
        if (request.places != resident_.resolvedPlaces_) {
            return say(MessageKind::refused,
                       "It was started with other settings, cache, key store or cloud folder.");
        }
        try {
            command_ = std::make_unique<ServedCommand>(
                resident_.place_, std::move(request),
                [this](MessageKind kind, std::string_view content) { say(kind, content); },
                [this] { end(); });
        } catch (const Error& failure) {
            const Ending ending{exitFailed, failure.description()};
            return say(MessageKind::ended, toText(CommandEnding{ending}));
        }
        stage_ = Stage::waiting;
        resident_.beginWaiting();
    }

    /// The other process is gone, or of no use.
    void leave() {
        connection_.reset();
        if (isRunning()) return command_->stop();
        end();
    }

    void end() {
        if (stage_ == Stage::over) return;
        stage_ = Stage::over;
        // Whoever calls this may still be at work in what is removed.
        resident_.place_.platform.mainQueue.async(
            resident_.guard_.guarded([&resident = resident_, this] { resident.remove(this); }));
    }

    Resident& resident_;
    std::unique_ptr<LocalConnection> connection_;
    MessageSplitter splitter_;
    Stage stage_ = Stage::greeted;
    std::unique_ptr<ServedCommand> command_;
};

Resident::Resident(const Platform& platform, ProblemLog& problems, const Places& places)
    : place_{platform, problems, places}, resolvedPlaces_(resolved(places, platform.files)) {}

Resident::~Resident() {
    for (const auto& visitor : visitors_) visitor->refuse();
}

void Resident::withdraw() {
    library_ = nullptr;
    for (const auto& visitor : visitors_) visitor->waitForCallerNoMore();
}

void Resident::listen() {
    const Path place =
        residentSocket(place_.places, place_.platform.files, place_.platform.digester);
    listener_ = place_.platform.localSockets.listen(
        place,
        [this](std::unique_ptr<LocalConnection> connection) { greet(std::move(connection)); });
}

void Resident::greet(std::unique_ptr<LocalConnection> connection) {
    visitors_.push_back(std::make_unique<Visitor>(*this, std::move(connection)));
}

void Resident::offer(Workspace& library) {
    library_ = &library;
    borrower_ = nullptr;
    beginWaiting();
}

void Resident::beginWaiting() {
    // A command that ends at once changes nothing in the list: it is removed later.
    for (std::size_t i = 0; library_ != nullptr && i < visitors_.size(); ++i) {
        if (!visitors_[i]->waitsToRun()) continue;
        runningCount_.set(*runningCount_ + 1);
        visitors_[i]->begin(*library_);
    }
}

void Resident::stopCommands() {
    for (const auto& visitor : visitors_) visitor->stop();
}

void Resident::publishWish() {
    const auto anybody = [&](bool (Visitor::*wants)() const) {
        return std::any_of(visitors_.begin(), visitors_.end(),
                           [&](const auto& visitor) { return (visitor.get()->*wants)(); });
    };
    wish_.set(anybody(&Visitor::wantsEnd)       ? Wish::end
              : anybody(&Visitor::wantsLibrary) ? Wish::library
                                                : Wish::none);
}

void Resident::lend() {
    const auto borrower = std::find_if(visitors_.begin(), visitors_.end(),
                                       [](const auto& each) { return each->wantsLibrary(); });
    borrower_ = borrower == visitors_.end() ? nullptr : borrower->get();
    if (borrower_ != nullptr) borrower_->lend();
}

void Resident::remove(const Visitor* visitor) {
    const auto found = std::find_if(visitors_.begin(), visitors_.end(),
                                    [&](const auto& each) { return each.get() == visitor; });
    if (found == visitors_.end()) return;
    const bool wasBorrower = borrower_ == visitor;
    visitors_.erase(found);
    const auto running = std::count_if(visitors_.begin(), visitors_.end(),
                                       [](const auto& each) { return each->isRunning(); });
    runningCount_.set(static_cast<int>(running));
    if (wasBorrower) lend();
    publishWish();
}

}  // namespace nookery::cli
