#pragma once

#include "Tests/Support/FaultSweep.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <optional>
#include <span>

namespace Tests {

/// What the calls of a platform seam share that can be made to fail: how many there were, and which
/// fails. `Kind` names the calls, and ends with Any. Threads: any.
template <typename Kind>
class CallScript {
public:
    /// From now on the `n`-th call (from 1) of the kind fails, and all later ones if `onwards`. One
    /// script at a time.
    void Fail(Kind kind, unsigned int n, unsigned int error, bool onwards = false) {
        Arm(kind, {n, 0, onwards, 0, 0}, error, error);
    }
    void Arm(Kind kind, Fault const & fault, unsigned int error, unsigned int laterError) {
        failing = kind;
        firstError = error;
        secondError = laterError;
        faults.Arm(fault);
    }
    /// Nothing fails any more. Whether a fault was met since Fail.
    bool Clear() { return faults.Disarm(); }

    /// Calls of the kind since the beginning, or since ResetCounts.
    unsigned int Count(Kind kind) const { return counts[static_cast<unsigned int>(kind)]; }
    void ResetCounts() { std::fill(std::begin(counts), std::end(counts), 0); }
    /// What was opened here and not given back yet.
    long long CountOpen() const { return open; }

    std::function<void(Kind)> onCall; ///< comes before each call
    /// Does something before the `n`-th call (from 1) of any kind from now on.
    void Before(unsigned int n, std::function<void()> action) {
        onCall = [n, action](Kind) mutable {
            if (n != 0 && --n == 0)
                action();
        };
    }

protected:
    /// The number that the call fails with, which may be that of a success; none: it is made.
    std::optional<unsigned int> Meet(Kind kind) {
        if (onCall)
            onCall(kind);
        ++counts[static_cast<unsigned int>(kind)];
        ++counts[static_cast<unsigned int>(Kind::Any)];
        if (failing != Kind::Any && failing != kind)
            return {};
        FaultCounter::Hit const hit = faults.Count();
        if (hit == FaultCounter::Hit::None)
            return {};
        return hit == FaultCounter::Hit::First ? firstError : secondError;
    }

    std::atomic<long long> open{0};

private:
    FaultCounter faults;
    std::atomic<Kind> failing{Kind::Any};
    std::atomic<unsigned int> firstError{0};
    std::atomic<unsigned int> secondError{0};
    std::atomic<unsigned int> counts[static_cast<unsigned int>(Kind::Any) + 1]{};
};

/// SweepFaults over the calls that the scenario makes through `Calls`: each of them fails once with
/// each of the errors, alone, with all later calls, and with a second one that is drawn.
template <typename Calls, typename Kind>
void SweepCalls(char const * name, std::span<unsigned int const> errors,
                std::function<void(bool failed)> const & scenario) {
    struct Faults final : FaultSource {
        Faults(char const * name, std::span<unsigned int const> errors)
            : name(name), errors(errors) {}
        char const * GetName() const override { return name; }
        unsigned int CountWays() const override { return static_cast<unsigned int>(errors.size()); }
        void Arm(Fault const & fault) override {
            calls.Arm(Kind::Any, fault, errors[fault.way], errors[fault.laterWay]);
        }
        bool Disarm() override { return calls.Clear(); }
        long long CountHeld() const override { return calls.CountOpen(); }

        char const * const name;
        std::span<unsigned int const> const errors;
        Calls calls;
    } faults(name, errors);
    SweepFaults(faults, scenario);
}

} // namespace Tests
