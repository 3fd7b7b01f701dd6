#pragma once

#include <Kestrel/Root/Errors/ErrorCategory.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>

#include <optional>
#include <system_error>
#include <utility>

namespace IO {

/// A value, or the status that says why there is none.
///
///     if (auto const size = IO::GetSize(location))
///         std::cout << *size;
///     else
///         std::cerr << size.GetError().message();
///
/// GetValue throws std::system_error where there is none; * and -> do not check.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T given) : value(std::move(given)) {}
    /// `status` must not be NoError.
    static Result Failure(MuErrCode status) { return Result(status, 0); }
    /// The value that `ask` writes through its argument, when it returns NoError.
    template <typename Ask>
    static Result From(Ask const & ask) {
        T asked{};
        MuErrCode const status = ask(&asked);
        return status == NoError ? Result(std::move(asked)) : Failure(status);
    }

    explicit operator bool() const { return value.has_value(); }
    T const & operator*() const & { return *value; }
    T & operator*() & { return *value; }
    T && operator*() && { return *std::move(value); }
    T const * operator->() const { return &*value; }
    T * operator->() { return &*value; }

    T const & GetValue() const & {
        Check();
        return *value;
    }
    T && GetValue() && {
        Check();
        return *std::move(value);
    }
    T GetValueOr(T other) const { return value ? *value : std::move(other); }

    MuErrCode GetStatus() const { return status; }
    std::error_code GetError() const { return MakeErrorCode(status); }

private:
    Result(MuErrCode failed, int) : status(failed) {}
    void Check() const {
        if (!value)
            throw std::system_error(GetError());
    }

    std::optional<T> value;
    MuErrCode status = NoError;
};

} // namespace IO
