#include "retrieval/deep/DeepScore.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace nookery {
namespace {

constexpr double secondsPerDay = 86400;

/// The ages in seconds at which a fading bonus falls to its next step.
constexpr std::array<double, 4> fadingSteps{secondsPerDay, 7 * secondsPerDay, 30 * secondsPerDay,
                                            120 * secondsPerDay};
using FadingBonus = std::array<double, fadingSteps.size() + 1>;

constexpr FadingBonus ageBonuses{0.28, 0.2072, 0.1344, 0.0672, 0.0224};
constexpr FadingBonus usageBonuses{0.55, 0.407, 0.264, 0.132, 0.044};

double faded(const FadingBonus& bonuses, double seconds) {
    const auto* step = std::upper_bound(fadingSteps.begin(), fadingSteps.end(), seconds);
    return bonuses[static_cast<std::size_t>(step - fadingSteps.begin())];
}

struct SemanticStep {
    double leastCosine;
    double factor;
};
constexpr std::array<SemanticStep, 3> semanticSteps{
    {{0.46, 15.0}, {0.32, 9.0}, {leastSemanticCosine, 4.5}}};

constexpr double leastAssociationValue = 0.36;
constexpr double partnerMatchFactor = 1.25;
constexpr double associationValueFactor = 1.5;
constexpr double fullOverlapCount = 18.0;

}  // namespace

double semanticBonus(double cosine) {
    for (const SemanticStep& step : semanticSteps) {
        if (cosine >= step.leastCosine) return step.factor * cosine;
    }
    return 0;
}

double ageBonus(Timestamp createdAt, Timestamp now) {
    return faded(ageBonuses, secondsBetween(createdAt, now));
}

double usageBonus(const UsageSignal& usage, Timestamp now) {
    if (usage.selectionCount <= 0) return 0;
    return faded(usageBonuses, secondsBetween(usage.lastSelectedAt, now));
}

double usageValue(const UsageSignal& usage, Timestamp now) {
    if (usage.selectionCount <= 0) return 0;
    const double share = usageBonus(usage, now) / usageBonuses.front();
    return std::min(1.0, share * (1 + std::log2(usage.selectionCount)) / 3);
}

double associationContribution(const Association& association) {
    if (association.value < leastAssociationValue) return 0;
    const double overlap =
        std::min(1.0, static_cast<double>(association.overlapCount) / fullOverlapCount);
    return (partnerMatchFactor * association.weight + associationValueFactor * association.value) *
           overlap;
}

double finalScore(const ScoreParts& parts) {
    return 0.9 * (0.72 * parts.lexical + parts.age) + parts.usage + parts.semantic +
           parts.association + requestedTagLead * static_cast<double>(parts.requestedTags);
}

}  // namespace nookery
