#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

/// One face found in an image memory.
struct CrumbFace {
    Uuid id;
    Uuid crumbID;
    std::optional<Uuid> clusterID = {};  ///< the pool it belongs to
    std::int64_t faceIndex = 0;          ///< its place among the faces of the image
    double x = 0;                        ///< the box, as parts of the image's width and height
    double y = 0;
    double width = 0;
    double height = 0;
    double confidence = 0;
    std::string featureModel = {};
    std::vector<double> feature = {};
    Timestamp createdAt = {};

    bool operator==(const CrumbFace&) const = default;
};

/// A pool of faces that the user takes for one person or pet.
struct CrumbFaceCluster {
    Uuid id;
    std::optional<std::string> name;
    Timestamp createdAt;
    Timestamp modifiedAt;

    bool operator==(const CrumbFaceCluster&) const = default;
};

/// The user said that a face does not belong to a pool.
struct CrumbFaceRejection {
    Uuid faceID;
    Uuid clusterID;

    bool operator==(const CrumbFaceRejection&) const = default;
};

}  // namespace nookery
