#include "agents/protocol/step.h"

#include "agents/protocol/little_endian.h"

namespace orv::app {

std::vector<std::byte> Encode(const Step& step) {
    LittleEndianWriter writer;
    writer.Put(step.number);
    writer.Put(std::int64_t{step.now.count()});
    writer.Put(static_cast<std::uint8_t>(step.event));
    writer.Put(step.timer);
    writer.PutBytes(step.data);
    return writer.Take();
}

Step ReadStep(std::span<const std::byte> bytes) {
    LittleEndianReader reader(bytes);
    Step step;
    step.number = reader.Get<std::uint64_t>();
    step.now = std::chrono::nanoseconds(reader.Get<std::int64_t>());
    if (step.now < step.now.zero() || step.now > step.now.max() / 2)
        throw ProtocolError("a step has a time out of range");
    step.event = static_cast<Step::Event>(reader.Get<std::uint8_t>());
    if (step.event < Step::Event::Receive || step.event > Step::Event::OnAir)
        throw ProtocolError("a step has an unknown event");
    step.timer = reader.Get<std::uint64_t>();
    step.data = reader.GetBytes();
    if (!reader.IsAtEnd()) throw ProtocolError("a step is too long");
    return step;
}

std::vector<std::byte> Encode(const StepDone& done) {
    LittleEndianWriter writer;
    writer.Put(done.number);
    for (const StepAction& action : done.actions) {
        writer.Put(static_cast<std::uint8_t>(action.kind));
        writer.Put(action.timer);
        writer.Put(std::int64_t{action.delay.count()});
        writer.PutBytes(action.data);
    }
    return writer.Take();
}

StepDone ReadStepDone(std::span<const std::byte> bytes) {
    LittleEndianReader reader(bytes);
    StepDone done;
    done.number = reader.Get<std::uint64_t>();
    while (!reader.IsAtEnd()) {
        StepAction action;
        action.kind = static_cast<StepAction::Kind>(reader.Get<std::uint8_t>());
        if (action.kind < StepAction::Kind::Send || action.kind > StepAction::Kind::Cancel)
            throw ProtocolError("a port did something unknown");
        action.timer = reader.Get<std::uint64_t>();
        action.delay = std::chrono::nanoseconds(reader.Get<std::int64_t>());
        if (action.delay < action.delay.zero() || action.delay > action.delay.max() / 2)
            throw ProtocolError("a timer has a delay out of range");
        action.data = reader.GetBytes();
        done.actions.push_back(std::move(action));
    }
    return done;
}

}  // namespace orv::app
