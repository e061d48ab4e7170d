#pragma once

#include "fieldreports/FieldReportPages.h"

/// The colours and fonts of a field report's PDF.
namespace nookery::report_styles {

inline constexpr PdfColor ink{28, 32, 38};
inline constexpr PdfColor quiet{104, 112, 122};
inline constexpr PdfColor accent{16, 92, 110};
inline constexpr PdfColor hairline{206, 211, 217};
inline constexpr PdfColor panel{244, 246, 248};

using Face = PdfFont::Face;
using Style = FieldReportPages::TextStyle;

inline constexpr Style header{{.size = 9, .face = Face::bold}, accent};
inline constexpr Style title{{.size = 24, .face = Face::bold}, ink, 1.08};
inline constexpr Style label{{.size = 8.5, .face = Face::bold}, quiet};
inline constexpr Style value{{.size = 13, .face = Face::regular}, ink};
inline constexpr Style notes{{.size = 11, .face = Face::regular}, ink, 1.3};
inline constexpr Style caption{{.size = 11, .face = Face::regular}, ink, 1.25};
inline constexpr Style footer{{.size = 8, .face = Face::regular}, quiet};

}  // namespace nookery::report_styles
