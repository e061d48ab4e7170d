#include "EncoderFixture.h"

namespace nookery::testing {

Path EncoderTest::asset() { return NOOKERY_SENTENCE_ENCODER; }

}  // namespace nookery::testing
