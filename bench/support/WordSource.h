#pragma once

#include <cmath>
#include <random>
#include <string>

namespace nookery {

/// Words as texts have them: the n-th of the vocabulary about 1/n as often as the first.
class WordSource {
  public:
    std::string words(int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            const double rank = std::pow(50'000.0, uniform_(random_));
            text += word(static_cast<unsigned>(rank)) + ' ';
        }
        return text;
    }
    static std::string word(unsigned rank) {
        std::string letters;
        for (unsigned rest = rank * 2654435761u % 60466176u + 60; rest > 0; rest /= 26) {
            letters += static_cast<char>('a' + rest % 26);
        }
        return letters;
    }

  private:
    std::mt19937 random_{20};
    std::uniform_real_distribution<double> uniform_{0, 1};
};

}  // namespace nookery
