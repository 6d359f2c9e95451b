#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace tandrel {

template <typename Signature>
class InlineFunction;

template <typename Callable, typename Result, typename... Arguments>
concept CallableAs = !std::is_same_v<Callable, InlineFunction<Result(Arguments...)>> &&
                     std::is_invocable_r_v<Result, Callable&, Arguments...>;

/// Something to be called, as `std::function`, but it is moved and never copied, and holds within
/// itself what that keeps on the heap: captures of up to 48 bytes, owning pointers among them. So
/// work can be handed on buffer after buffer without an allocation. Larger ones are allocated.
template <typename Result, typename... Arguments>
class InlineFunction<Result(Arguments...)> {
public:
    InlineFunction() = default;
    // Implicit, as those of `std::function`: a lambda is handed over as it stands.
    InlineFunction(std::nullptr_t /*nothing*/) {}
    template <CallableAs<Result, Arguments...> Callable>
    InlineFunction(Callable callable) {
        if constexpr (fits<Callable>) {
            hold(std::move(callable));
        } else {
            hold(Boxed<Callable>{std::make_unique<Callable>(std::move(callable))});
        }
    }
    InlineFunction(InlineFunction&& other) noexcept { take(other); }
    InlineFunction& operator=(InlineFunction&& other) noexcept {
        if (this != &other) {
            reset();
            take(other);
        }
        return *this;
    }
    InlineFunction(const InlineFunction&) = delete;
    InlineFunction& operator=(const InlineFunction&) = delete;
    ~InlineFunction() { reset(); }

    explicit operator bool() const { return operations_ != nullptr; }

    /// Not for an empty one.
    Result operator()(Arguments... arguments) const {
        return operations_->call(storage_.data(), std::forward<Arguments>(arguments)...);
    }

private:
    static constexpr std::size_t capacity = 48;

    struct Operations {
        Result (*call)(std::byte* target, Arguments... arguments);
        void (*moveTo)(std::byte* target, std::byte* destination) noexcept;
        void (*destroy)(std::byte* target) noexcept;
    };

    template <typename Target>
    struct Boxed {
        std::unique_ptr<Target> target;
        Result operator()(Arguments... arguments) {
            return (*target)(std::forward<Arguments>(arguments)...);
        }
    };

    template <typename Target>
    static constexpr bool
        fits = sizeof(Target) <= capacity&& std::is_nothrow_move_constructible_v<Target> &&
               alignof(Target) <= alignof(std::max_align_t);

    template <typename Target>
    static Target* as(std::byte* storage) {
        return std::launder(reinterpret_cast<Target*>(storage));
    }

    template <typename Target>
    static constexpr Operations operationsOf{
        [](std::byte* target, Arguments... arguments) -> Result {
            return (*as<Target>(target))(std::forward<Arguments>(arguments)...);
        },
        [](std::byte* target, std::byte* destination) noexcept {
            ::new (destination) Target(std::move(*as<Target>(target)));
            as<Target>(target)->~Target();
        },
        [](std::byte* target) noexcept { as<Target>(target)->~Target(); }};

    template <typename Target>
    void hold(Target target) {
        ::new (storage_.data()) Target(std::move(target));
        operations_ = &operationsOf<Target>;
    }

    void take(InlineFunction& other) noexcept {
        operations_ = std::exchange(other.operations_, nullptr);
        if (operations_ != nullptr) {
            operations_->moveTo(other.storage_.data(), storage_.data());
        }
    }

    void reset() noexcept {
        if (const Operations* const held = std::exchange(operations_, nullptr)) {
            held->destroy(storage_.data());
        }
    }

    // What is called may change its captures, as a mutable lambda does.
    alignas(std::max_align_t) mutable std::array<std::byte, capacity> storage_;
    const Operations* operations_ = nullptr;
};

} // namespace tandrel
