// What a thread is about to do to something that threads share, and the ways in which that may turn out.
// A step lives on the stack of the thread that waits for its turn with it.
#ifndef TARN_TESTS_ORDER_EXPLORER_STEP_H
#define TARN_TESTS_ORDER_EXPLORER_STEP_H

#include <cstdint>
#include <vector>

namespace tarn::order {

// What is shared, numbered in the order of its making from 1 on; 0 stands for nothing.
using Object = std::uint32_t;

// One way in which a step may turn out now. Its number says the same whatever other threads do meanwhile.
struct Choice {
    std::uint32_t number = 0;
    bool changes = true;         // others can tell that it was done
    bool inOrder = true;         // its place among the steps of this kind is the same for all threads
    std::uint64_t argument = 0;  // for the trace
};

class Step {
 public:
    Step(const char* name, Object object) : name_(name), object_(object) {}
    virtual ~Step() = default;
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

    // Appends the ways that are open now; none while the thread has to wait.
    virtual void AddChoices(std::vector<Choice>& choices) const = 0;
    // Told apart by more than name and object, such as how many a semaphore lets in.
    [[nodiscard]] virtual std::uint64_t Argument() const { return 0; }
    // Nobody is owed that it is ever taken: a thread at rest may stay there.
    [[nodiscard]] virtual bool MayNeverCome() const { return false; }

    [[nodiscard]] const char* Name() const { return name_; }
    [[nodiscard]] Object SharedObject() const { return object_; }

 private:
    const char* name_;
    Object object_;
};

// A step of one thread that can be taken now.
struct Transition {
    std::uint32_t thread = 0;
    Object object = 0;
    Choice choice;

    [[nodiscard]] bool Is(const Transition& other) const {
        return thread == other.thread && choice.number == other.choice.number && object == other.object;
    }
};

// Whether it matters which of two threads' transitions comes first. Reading what stands there commutes with writing
// something new, unless both have a place in the order that all threads agree about.
[[nodiscard]] inline bool Depend(const Transition& a, const Transition& b) {
    if (a.thread == b.thread) return true;
    if (a.object != b.object || a.object == 0) return false;
    if (a.choice.changes && b.choice.changes) return true;
    return (a.choice.changes || b.choice.changes) && a.choice.inOrder && b.choice.inOrder;
}

}  // namespace tarn::order

#endif
