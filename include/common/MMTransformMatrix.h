#pragma once

#include "common/MMTransform.h"

// A 4 by 4 matrix of doubles acting on column vectors, with a cached inverse.
// The translation lies in column 3 of rows 0 to 2. Elements changed through
// AccessElement take effect in Apply at once; ApplyInverse uses the inverse of
// the last ComputeInverse.
class OND_EXPORT MMTransformMatrix : public MMTransform
{
public:
    // What the matrix knows of itself, refreshed by VerifyAndSetClass.
    enum class Class
    {
        Identity,
        Translation,
        Affine,
        General
    };

    MMTransformMatrix();
    MMTransformMatrix(MMTransformMatrix const&) = default;
    MMTransformMatrix& operator=(MMTransformMatrix const&) = default;
    ~MMTransformMatrix() override = default;

    double& AccessElement(unsigned short row, unsigned short column, bool inverse = false);
    double GetElement(unsigned short row, unsigned short column, bool inverse = false) const;

    bool IsIdentity() const override;
    MMPoint3d<double> Apply(MMPoint3d<double> const& point) const override;
    MMPoint3d<double> ApplyInverse(MMPoint3d<double> const& point) const override;

    // Refreshes the cached inverse; false (and the identity as inverse) when
    // the matrix is singular.
    bool ComputeInverse();
    void VerifyAndSetClass();
    Class GetClass() const { return m_class; }

    friend OND_EXPORT MMTransformMatrix operator*(MMTransformMatrix const& left,
                                                  MMTransformMatrix const& right);

private:
    double m_matrix[4][4];
    double m_inverse[4][4];
    Class m_class = Class::Identity;
};

// The composition of a parent transformation (left) and a child (right).
OND_EXPORT MMTransformMatrix operator*(MMTransformMatrix const& left, MMTransformMatrix const& right);
