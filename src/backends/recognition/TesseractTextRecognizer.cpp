#include "backends/recognition/TesseractTextRecognizer.h"

#include <omp.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>

#include <algorithm>
#include <array>
#include <mutex>

#include "backends/reader/LanguageData.h"
#include "backends/recognition/PicturePreparation.h"
#include "backends/recognition/ReadingOrder.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

/// Tesseract's usual iterators look for a paragraph's direction at each word. Where it has found no
/// paragraphs, that takes minutes. English has one direction.
class LineEngine final : public tesseract::TessBaseAPI {
  public:
    using TessBaseAPI::GetLTRIterator;
};

using Engine = std::unique_ptr<LineEngine>;
using LineIterator = tesseract::LTRResultIterator;

NormalizedBox boxOf(const LineIterator& at, tesseract::PageIteratorLevel level, const Pix& pix) {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    at.BoundingBox(level, &left, &top, &right, &bottom);
    const double width = pixGetWidth(&pix);
    const double height = pixGetHeight(&pix);
    return {left / width, 1 - bottom / height, (right - left) / width, (bottom - top) / height};
}

double riseOf(const LineIterator& at, const Pix& pix) {
    int left = 0;
    int leftY = 0;
    int right = 0;
    int rightY = 0;
    const bool known = at.Baseline(tesseract::RIL_TEXTLINE, &left, &leftY, &right, &rightY);
    if (!known || right <= left) return 0;
    const double slope = static_cast<double>(leftY - rightY) / (right - left);
    return slope * pixGetWidth(&pix) / pixGetHeight(&pix);
}

bool holdsDigit(std::string_view text) {
    return text.find_first_of("0123456789") != std::string_view::npos;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether the two pieces are one number: no more than two letters apart, on one level, with a
/// digit on each side of the gap.
bool breaksBetween(const TextPiece& left, const TextPiece& right, double aspect) {
    const NormalizedBox& a = left.line.box;
    const NormalizedBox& b = right.line.box;
    const double height = std::max(a.height, b.height);
    const double gap = (b.x - a.x - a.width) * aspect;
    return isDigit(left.line.text.back()) && isDigit(right.line.text.front()) && gap >= 0 &&
           gap < 2 * height && std::abs(a.centreY() - b.centreY()) < 0.5 * height;
}

NormalizedBox around(const NormalizedBox& a, const NormalizedBox& b) {
    const double bottom = std::min(a.y, b.y);
    return {a.x, bottom, b.x + b.width - a.x, std::max(a.y + a.height, b.y + b.height) - bottom};
}

/// Numbers that were found in two pieces, because the engine took the point between them for a
/// speck, as the boxes that hold them whole. Their pieces leave `pieces`. `aspect` is the picture's
/// width over its height.
std::vector<NormalizedBox> takeBrokenNumbers(std::vector<TextPiece>& pieces, double aspect) {
    std::vector<NormalizedBox> whole;
    std::vector<bool> taken(pieces.size(), false);
    for (std::size_t left = 0; left < pieces.size(); ++left) {
        if (!isDigit(pieces[left].line.text.back())) continue;
        for (std::size_t right = 0; right < pieces.size(); ++right) {
            if (taken[left] || taken[right] || left == right) continue;
            if (!breaksBetween(pieces[left], pieces[right], aspect)) continue;
            whole.push_back(around(pieces[left].line.box, pieces[right].line.box));
            taken[left] = taken[right] = true;
        }
    }
    std::size_t index = 0;
    std::erase_if(pieces, [&](const TextPiece&) { return taken[index++]; });
    return whole;
}

/// The engine asks this before each line whether to stop. After the last line it gathers the lines
/// into paragraphs, in a time that grows with the cube of their number: 6 seconds for a thousand
/// lines, hours for the grain of a picture without text. Nobody needs the paragraphs. An engine
/// that is stopped before the last line keeps its lines and makes no paragraphs.
class LineWatch {
  public:
    explicit LineWatch(const std::stop_token& stop) : stop_(stop) {}

    bool wasCutShort() const { return wasCutShort_; }

    static bool asksToStop(void* watch, int lineCount) {
        return static_cast<LineWatch*>(watch)->beforeLine(lineCount);
    }

  private:
    static constexpr int mostLinesInParagraphs = 400;

    bool beforeLine(int lineCount) {
        wasCutShort_ = ++begunCount_ >= lineCount && lineCount > mostLinesInParagraphs;
        return wasCutShort_ || stop_.stop_requested();
    }

    const std::stop_token& stop_;
    int begunCount_ = 0;
    bool wasCutShort_ = false;
};

class TesseractTextRecognizer final : public TextRecognizer {
  public:
    explicit TesseractTextRecognizer(Path languageData) : languageData_(std::move(languageData)) {
        setMsgSeverity(L_SEVERITY_NONE);
    }

    std::vector<OCRLine> recognise(const Picture& picture, std::stop_token stop) const override {
        if (stop.stop_requested()) throw Cancelled();
        // Without this the engine would start threads for each line of text, which costs time. The
        // setting is the calling thread's own.
        omp_set_max_active_levels(0);
        const PreparedPicture prepared = preparedForReading(picture);
        if (!prepared.pix) return {};
        if (stop.stop_requested()) throw Cancelled();
        Engine engine = takeEngine();
        std::vector<TextPiece> pieces = readAll(*engine, prepared, stop);
        giveBack(std::move(engine));
        return inRows(std::move(pieces));
    }

  private:
    static std::vector<TextPiece> readAll(LineEngine& engine, const PreparedPicture& prepared,
                                          const std::stop_token& stop) {
        Pix& pix = *prepared.pix;
        engine.SetPageSegMode(tesseract::PSM_SPARSE_TEXT);
        engine.SetImage(&pix);
        read(engine, stop);
        std::vector<TextPiece> pieces = piecesOf(engine, prepared);
        const double width = pixGetWidth(&pix);
        const double height = pixGetHeight(&pix);
        engine.SetPageSegMode(tesseract::PSM_SINGLE_LINE);
        for (const NormalizedBox& box : takeBrokenNumbers(pieces, width / height)) {
            const double margin = 0.25 * box.height * height;
            engine.SetRectangle(
                static_cast<int>(std::max(0.0, box.x * width - margin)),
                static_cast<int>(std::max(0.0, (1 - box.y - box.height) * height - margin)),
                static_cast<int>(box.width * width + 2 * margin),
                static_cast<int>(box.height * height + 2 * margin));
            read(engine, stop);
            std::ranges::move(piecesOf(engine, prepared), std::back_inserter(pieces));
        }
        return pieces;
    }

    static void read(LineEngine& engine, const std::stop_token& stop) {
        LineWatch watch(stop);
        tesseract::ETEXT_DESC monitor;
        monitor.cancel = LineWatch::asksToStop;
        monitor.cancel_this = &watch;
        const int result = engine.Recognize(&monitor);
        if (stop.stop_requested()) throw Cancelled();
        if (result == 0 || watch.wasCutShort()) return;
        throw RecognitionError("The text in the picture could not be recognised.");
    }

    static std::vector<TextPiece> piecesOf(LineEngine& engine, const PreparedPicture& prepared) {
        const Pix& pix = *prepared.pix;
        std::vector<TextPiece> pieces;
        const std::unique_ptr<LineIterator> at(engine.GetLTRIterator());
        if (!at) return pieces;
        do {
            TextPiece piece;
            piece.line.box = boxOf(*at, tesseract::RIL_TEXTLINE, pix);
            piece.rise = riseOf(*at, pix);
            readWords(piece, *at, prepared);
            if (!piece.line.text.empty()) pieces.push_back(std::move(piece));
        } while (at->Next(tesseract::RIL_TEXTLINE));
        return pieces;
    }

    static void readWords(TextPiece& piece, const LineIterator& lineStart,
                          const PreparedPicture& prepared) {
        OCRLine& line = piece.line;
        LineIterator word(lineStart);
        double leastOfNumbers = 2;
        do {
            const std::unique_ptr<char[]> found(word.GetUTF8Text(tesseract::RIL_WORD));
            const std::string text(found ? trimmed(toValidUtf8(found.get())) : "");
            if (text.empty()) continue;
            if (!line.text.empty()) line.text += ' ';
            line.text += text;
            line.words.push_back(
                {text, prepared.inGivenPicture(boxOf(word, tesseract::RIL_WORD, *prepared.pix))});
            const double confidence =
                std::clamp(word.Confidence(tesseract::RIL_WORD) / 100.0, 0.0, 1.0);
            line.confidence = std::min(line.confidence, confidence);
            if (holdsDigit(text)) leastOfNumbers = std::min(leastOfNumbers, confidence);
        } while (!word.IsAtFinalElement(tesseract::RIL_TEXTLINE, tesseract::RIL_WORD) &&
                 word.Next(tesseract::RIL_WORD));
        piece.holdsNumber = leastOfNumbers <= 1;
        if (piece.holdsNumber) line.confidence = leastOfNumbers;
    }

    Engine takeEngine() const {
        {
            const std::lock_guard lock(mutex_);
            if (!idleEngines_.empty()) {
                Engine engine = std::move(idleEngines_.back());
                idleEngines_.pop_back();
                return engine;
            }
        }
        auto engine = std::make_unique<LineEngine>();
        engine->SetVariable("debug_file", "/dev/null");
        if (engine->Init(languageData_.c_str(), "eng", tesseract::OEM_LSTM_ONLY) != 0) {
            throw RecognitionError("Text cannot be recognised: the language data in " +
                                   displayName(languageData_) + " is damaged.");
        }
        return engine;
    }

    void giveBack(Engine engine) const {
        engine->Clear();
        const std::lock_guard lock(mutex_);
        idleEngines_.push_back(std::move(engine));
    }

    Path languageData_;
    mutable std::mutex mutex_;
    mutable std::vector<Engine> idleEngines_;  ///< each is used by one thread at a time
};

}  // namespace

std::unique_ptr<TextRecognizer> makeTextRecognizer(FileSystem& files) {
    const auto languageData = findLanguageData(files);
    if (!languageData) return nullptr;
    return std::make_unique<TesseractTextRecognizer>(*languageData);
}

}  // namespace nookery
