#include "platform/work/Outcome.h"

namespace nookery {

Failure failureOf(const std::exception_ptr& cause) {
    try {
        std::rethrow_exception(cause);
    } catch (const Error& error) {
        return {error.description(), error.advice(), cause};
    } catch (const std::exception& error) {
        return {describe(error), {}, cause};
    } catch (...) {
        return {"Something went wrong, and nothing is known about it.", {}, cause};
    }
}

}  // namespace nookery
