#pragma once

#include <cstddef>

#include "records/UsageSignal.h"

namespace nookery {

/// The numbers of the deep stage: how much meaning, age, use and association add to a lexical
/// score. Pure functions. docs/ranking.md has the whole formula.

/// What a cosine adds: 15 times itself from 0.46 on, 9 times from 0.32 on, 4.5 times from 0.24 on,
/// else nothing.
double semanticBonus(double cosine);

/// The least cosine that adds something.
constexpr double leastSemanticCosine = 0.24;

/// 0.28 for a memory of the last day (or of the future). Falls in steps after a day, a week, thirty
/// and a hundred and twenty days, to 0.0224.
double ageBonus(Timestamp createdAt, Timestamp now);

/// 0.55 for a memory selected within the last day. Falls in the same steps, to 0.044; 0 for a
/// memory never selected.
double usageBonus(const UsageSignal& usage, Timestamp now);

/// How much a memory is in use, 0 to 1: `usageBonus` as a share of its maximum, times a third for
/// one selection, two thirds for two, and 1 for four or more.
double usageValue(const UsageSignal& usage, Timestamp now);

/// The least usage value at which a hint may say that a memory was used recently.
constexpr double recentUseValue = 0.8;

/// What two memories have in common.
struct Association {
    double value = 0;   ///< 0 to 1: rarity of the shared tokens over the smaller memory's sum
    double weight = 0;  ///< 0 to 1: how well the partner matches the query
    std::size_t overlapCount = 0;  ///< the number of shared tokens
};

/// What an association adds to a memory's score: nothing below a value of 0.36. Of several partners
/// only the largest contribution counts.
double associationContribution(const Association& association);

/// The least value at which the hint names the partner and the memory earns `closePartnerBonus`.
constexpr double closeAssociationValue = 0.55;
constexpr double closePartnerBonus = 2.2;

/// The parts of a candidate's score.
struct ScoreParts {
    double lexical = 0;
    double age = 0;
    double usage = 0;
    double semantic = 0;
    double association = 0;
    std::size_t requestedTags = 0;  ///< how many requested tags the memory has
};

/// What a requested tag adds: more than meaning, association, use and age can together. These order
/// the tagged memories but lift no other memory above them.
constexpr double requestedTagLead = 22.0;

/// 0.9 * (0.72 * lexical + age) + usage + semantic + association + requestedTagLead *
/// requestedTags.
double finalScore(const ScoreParts& parts);

}  // namespace nookery
