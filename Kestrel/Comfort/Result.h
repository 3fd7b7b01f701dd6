#pragma once

#include <Kestrel/Root/Errors/ErrorCategory.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>

#include <optional>
#include <ostream>
#include <string>
#include <system_error>
#include <utility>

namespace IO {

/// A status for use with the standard library: in conditions, in streams, beside std::errc.
///
///     if (IO::Status const made = folder.CreateFolder("new"); made == std::errc::file_exists)
///         std::cerr << made; // "target already exists"
class [[nodiscard]] Status {
public:
    Status(MuErrCode ofCode) : code(ofCode) {}

    bool IsDone() const { return code == NoError; }
    MuErrCode GetCode() const { return code; }
    operator std::error_code() const { return MakeErrorCode(code); }
    std::string GetText() const { return ErrorCategory().message(code); }
    void Check() const {
        if (!IsDone())
            throw std::system_error(MakeErrorCode(code));
    }
    friend bool operator==(Status const & status, std::errc condition) {
        return MakeErrorCode(status.code) == condition;
    }
    friend bool operator==(Status const & a, Status const & b) { return a.code == b.code; }
    template <typename Traits>
    friend std::basic_ostream<char, Traits> & operator<<(std::basic_ostream<char, Traits> & out,
                                                         Status const & status) {
        return out << status.GetText();
    }

private:
    MuErrCode code;
};

/// A value, or the status that is the reason for its absence.
///
///     if (auto const size = IO::GetSize(location))
///         std::cout << *size;
///     else
///         std::cerr << size.GetError().message();
///
/// GetValue throws std::system_error if there is none; * and -> do not check.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T given) : value(std::move(given)) {}
    /// `status` must not be NoError.
    static Result Failure(MuErrCode status) { return Result(status, 0); }
    /// The value that `query` writes through its argument, if it returns NoError.
    template <typename Query>
    static Result From(Query const & query) {
        T found{};
        MuErrCode const status = query(&found);
        return status == NoError ? Result(std::move(found)) : Failure(status);
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
    friend bool operator==(Result const & result, std::errc condition) {
        return result.GetError() == condition;
    }
    /// The value, or else the status.
    template <typename Traits>
    friend std::basic_ostream<char, Traits> & operator<<(std::basic_ostream<char, Traits> & out,
                                                         Result const & result) {
        return result ? out << *result : out << ErrorCategory().message(result.status);
    }

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
