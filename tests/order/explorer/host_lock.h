// The lock that a host takes around its calls: scans share it, the other exports have it alone. Each call is one step.
// Any thread of the world may call.
#ifndef TARN_TESTS_ORDER_EXPLORER_HOST_LOCK_H
#define TARN_TESTS_ORDER_EXPLORER_HOST_LOCK_H

#include "order/explorer/world.h"

namespace tarn::order {

class HostLock {
 public:
    // A host that forgets its lock takes the same steps and excludes nobody.
    explicit HostLock(bool excludes = true) : object_(World::Current()->NewObject()), excludes_(excludes) {}
    HostLock(const HostLock&) = delete;
    HostLock& operator=(const HostLock&) = delete;

    // Runs the work with others that share the lock, or alone.
    template <class Work>
    void Share(const Work& work) {
        Hold(work, "shares the host's lock", false, 1);
    }
    template <class Work>
    void Alone(const Work& work) {
        Hold(work, "takes the host's lock alone", true, -1);
    }
    // Inside of Share: a place where it matters whether somebody else works alone.
    void LetOthers(const char* name) {
        static_cast<void>(World::Current()->Take(HoldStep(name, object_, false, true)));
    }

 private:
    // Those who share leave each other's turns as they are.
    class HoldStep final : public Step {
     public:
        HoldStep(const char* name, Object object, bool alone, bool isFree)
            : Step(name, object), alone_(alone), isFree_(isFree) {}
        void AddChoices(std::vector<Choice>& choices) const override {
            const std::int64_t holders = World::Current()->Value(SharedObject());
            if (isFree_ || (alone_ ? holders == 0 : holders >= 0)) choices.push_back({0, alone_, true});
        }

     private:
        bool alone_;
        bool isFree_;
    };

    template <class Work>
    void Hold(const Work& work, const char* name, bool alone, int holders) {
        World& world = *World::Current();
        static_cast<void>(world.Take(HoldStep(name, object_, alone, !excludes_)));
        world.Value(object_) += holders;
        work();
        static_cast<void>(world.Take(HoldStep("leaves the host's lock", object_, alone, true)));
        world.Value(object_) -= holders;
    }

    Object object_;
    bool excludes_;
};

}  // namespace tarn::order

#endif
