#pragma once

#include <cstddef>

#include "records/UsageSignal.h"

namespace nookery {

/// The numbers of the deep stage: what meaning, age, use and association are worth beside a
/// lexical score, whose weights lie between 1.6 and 22. Pure functions; docs/ranking.md has the
/// whole formula.

/// What a cosine is worth: 15 times it from 0.46 on, 9 times from 0.32 on, 4.5 times from 0.24
/// on, else nothing.
double semanticBonus(double cosine);

/// The least cosine that is worth something.
constexpr double leastSemanticCosine = 0.24;

/// 0.28 for a memory of the last day (or of the future), falling in steps at one day, a week,
/// thirty and a hundred and twenty days to 0.0224.
double ageBonus(Timestamp createdAt, Timestamp now);

/// 0.55 for a memory selected within the last day, falling by the same steps to 0.044; nothing
/// for one never selected.
double usageBonus(const UsageSignal& usage, Timestamp now);

/// 0 to 1: how much a memory is in use. The bonus as a share of its most, scaled by how often the
/// memory was selected: one selection gives a third, two give two thirds, four or more give all.
double usageValue(const UsageSignal& usage, Timestamp now);

/// From this usage value on, a memory that the deep stage raised counts as recently used.
constexpr double recentUseValue = 0.8;

/// What two memories have in common.
struct Association {
    double value = 0;              ///< 0 to 1: rarity of what they share over the smaller one's sum
    double weight = 0;             ///< 0 to 1: how well the partner matches the query itself
    std::size_t overlapCount = 0;  ///< tokens shared
};

/// What an association adds to a memory's score: nothing below a value of 0.36. The contributions
/// of several partners are not summed; the largest counts.
double associationContribution(const Association& association);

/// From this value on, the partner is named in the hint and the memory earns `closePartnerBonus`.
constexpr double closeAssociationValue = 0.55;
constexpr double closePartnerBonus = 2.2;

/// The parts of a candidate's score.
struct ScoreParts {
    double lexical = 0;
    double age = 0;
    double usage = 0;
    double semantic = 0;
    double association = 0;
    std::size_t requestedTags = 0;  ///< tags asked for that the memory carries
};

/// What a tag asked for adds: more than meaning, association, use and age can, so that they order
/// the tagged among themselves and lift no other above them.
constexpr double requestedTagLead = 22.0;

/// 0.9 * (0.72 * lexical + age) + usage + semantic + association, and the lead of its tags.
double finalScore(const ScoreParts& parts);

}  // namespace nookery
