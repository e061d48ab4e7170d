#pragma once

#include <memory>

#include "backends/reader/ReaderMessage.h"
#include "backends/reader/ReaderSubjects.h"

namespace nookery {

/// A question, as its receiver takes it apart.
struct ServiceRequest {
    ReaderQuestion question{};
    FieldReader& fields;
    std::vector<std::uint8_t>& pixels;
};

/// The answer, as it is put together.
struct ServiceAnswer {
    FieldWriter fields;
    std::vector<std::uint8_t> pixels;
};

/// Answers the questions of one subject. One thread.
class Service {
  public:
    virtual ~Service() = default;
    /// Throws what the platform's service throws, or MalformedMessage.
    virtual void answer(const ServiceRequest& request, ServiceAnswer& answer) = 0;
};

std::unique_ptr<Service> makeDocumentService();
std::unique_ptr<Service> makePictureService();
std::unique_ptr<Service> makeMediaService();
/// Throws RecognitionError when the language data is not installed.
std::unique_ptr<Service> makeRecognitionService();
std::unique_ptr<Service> makeDrawingService();
std::unique_ptr<Service> makeWebService();

/// Answers requests from the socket, within their bounds, until its other end is closed or nothing
/// was asked for a while. A request that uses up its time or memory ends the process.
void serve(int socket, Service& service);

}  // namespace nookery
