#pragma once

class QPDF;

/// Makes each unit of the pages so many points (ISO 32000-1, 14.11.2), for pages that are larger than readers
/// accept.
void setUserUnit(QPDF &pdf, int points);
