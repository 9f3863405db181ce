// Tests of transform products and inverses, singular matrices included.
#include "common/MMTransformMatrix.h"

#include <gtest/gtest.h>

namespace
{
MMTransformMatrix FromRows(double const (&rows)[3][4])
{
    MMTransformMatrix m;
    for (unsigned short r = 0; r < 3; ++r)
    {
        for (unsigned short c = 0; c < 4; ++c)
        {
            m.AccessElement(r, c, false) = rows[r][c];
        }
    }
    m.ComputeInverse();
    m.VerifyAndSetClass();
    return m;
}

void ExpectNear(MMPoint3d<double> const& expected, MMPoint3d<double> const& actual)
{
    EXPECT_NEAR(expected.x, actual.x, 1e-9);
    EXPECT_NEAR(expected.y, actual.y, 1e-9);
    EXPECT_NEAR(expected.z, actual.z, 1e-9);
}
} // namespace

// A product applies the child first, then the parent; inverses of general
// affine matrices, and of none.
TEST(MMTransformMatrix, ProductsAndInverses)
{
    MMTransformMatrix const parent = FromRows({{1, 0, 0, 10}, {0, 1, 0, 0}, {0, 0, 1, 0}});
    MMTransformMatrix const child = FromRows({{2, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 2, 0}});
    EXPECT_EQ(MMTransformMatrix::Class::Translation, parent.GetClass());
    MMTransformMatrix const combined = parent * child;
    ExpectNear({12, 2, 2}, combined.Apply({1, 1, 1}));
    ExpectNear({22, 2, 2}, (child * parent).Apply({1, 1, 1}));
    // The product comes with its inverse and class.
    ExpectNear({1, 1, 1}, combined.ApplyInverse({12, 2, 2}));
    EXPECT_EQ(MMTransformMatrix::Class::Affine, combined.GetClass());

    // Rotation, shear, non-uniform scale and translation, with a zero on the
    // diagonal so that elimination has to pivot.
    MMTransformMatrix m = FromRows({{0, -2, 0.5, 3}, {1.5, 0, 0, -7}, {0.25, 0.1, 4, 11}});
    MMPoint3d<double> const p(0.3, -8, 12.5);
    ExpectNear(p, m.ApplyInverse(m.Apply(p)));
    // Elements changed by hand take effect once the inverse is refreshed.
    m.AccessElement(0, 3, false) = 0;
    ASSERT_TRUE(m.ComputeInverse());
    ExpectNear(p, m.ApplyInverse(m.Apply(p)));

    // Singular or broken matrices leave the identity as inverse.
    MMTransformMatrix flat = FromRows({{1, 2, 3, 0}, {2, 4, 6, 0}, {0, 0, 1, 0}});
    EXPECT_FALSE(flat.ComputeInverse());
    EXPECT_EQ(MMPoint3d<double>(1, 2, 3), flat.ApplyInverse({1, 2, 3}));
    MMTransformMatrix broken;
    broken.AccessElement(1, 1, false) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(broken.ComputeInverse());
    EXPECT_FALSE(broken.IsIdentity());
}
