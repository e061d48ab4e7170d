#include "cli/context/Ending.h"

#include "cli/line/Arguments.h"
#include "cli/output/Console.h"
#include "foundation/DatabaseError.h"
#include "workspace/InvalidInput.h"

namespace nookery::cli {

Ending endingOf(const std::function<Ending()>& command) {
    try {
        return command();
    } catch (const UsageError& error) {
        return {exitWrongUsage, error.description()};
    } catch (const InvalidInput& error) {
        return {exitWrongUsage, error.description()};
    } catch (const OutputError& error) {
        return {exitFailed, error.isClosedPipe() ? "" : error.description()};
    } catch (const Cancelled&) {
        return {exitInterrupted, "interrupted; whatever was done is whole."};
    } catch (const Error& error) {
        return {exitFailed, withAdvice(error.description(), error.advice())};
    } catch (const std::exception& error) {
        return {exitFailed, describe(error)};
    }
}

}  // namespace nookery::cli
