#pragma once
// A configured place: a position counts as inside when radius >= its distance in metres.
// Copied by value.
#include <QString>

class KEOPointOfInterest {
public:
    KEOPointOfInterest();
    virtual ~KEOPointOfInterest();
    // A value: the declared destructor would otherwise leave it without moves.
    KEOPointOfInterest(const KEOPointOfInterest &) = default;
    KEOPointOfInterest(KEOPointOfInterest &&) = default;
    KEOPointOfInterest &operator=(const KEOPointOfInterest &) = default;
    KEOPointOfInterest &operator=(KEOPointOfInterest &&) = default;

    QString name;
    double latitude;
    double longitude;
    double radius;
};
