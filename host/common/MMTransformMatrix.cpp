// A 4x4 affine transform with range-checked element access, as used for build
// items and components.
#include "common/MMTransformMatrix.h"

#include <cmath>
#include <stdexcept>

namespace
{
void SetIdentity(double (&m)[4][4])
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
        {
            m[r][c] = r == c ? 1.0 : 0.0;
        }
    }
}

void CheckIndex(unsigned short row, unsigned short column)
{
    if (row > 3 || column > 3)
    {
        throw std::out_of_range("MMTransformMatrix element index out of range");
    }
}

MMPoint3d<double> Multiply(double const (&m)[4][4], MMPoint3d<double> const& p)
{
    double const x = m[0][0] * p.x + m[0][1] * p.y + m[0][2] * p.z + m[0][3];
    double const y = m[1][0] * p.x + m[1][1] * p.y + m[1][2] * p.z + m[1][3];
    double const z = m[2][0] * p.x + m[2][1] * p.y + m[2][2] * p.z + m[2][3];
    double const w = m[3][0] * p.x + m[3][1] * p.y + m[3][2] * p.z + m[3][3];
    if (w != 1.0 && w != 0.0)
    {
        return {x / w, y / w, z / w};
    }
    return {x, y, z};
}
} // namespace

MMTransformMatrix::MMTransformMatrix()
{
    SetIdentity(m_matrix);
    SetIdentity(m_inverse);
}

double& MMTransformMatrix::AccessElement(unsigned short row, unsigned short column, bool inverse)
{
    CheckIndex(row, column);
    return inverse ? m_inverse[row][column] : m_matrix[row][column];
}

double MMTransformMatrix::GetElement(unsigned short row, unsigned short column, bool inverse) const
{
    CheckIndex(row, column);
    return inverse ? m_inverse[row][column] : m_matrix[row][column];
}

bool MMTransformMatrix::IsIdentity() const
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
        {
            if (m_matrix[r][c] != (r == c ? 1.0 : 0.0))
            {
                return false;
            }
        }
    }
    return true;
}

MMPoint3d<double> MMTransformMatrix::Apply(MMPoint3d<double> const& point) const
{
    return Multiply(m_matrix, point);
}

MMPoint3d<double> MMTransformMatrix::ApplyInverse(MMPoint3d<double> const& point) const
{
    return Multiply(m_inverse, point);
}

bool MMTransformMatrix::ComputeInverse()
{
    // Gauss-Jordan elimination with partial pivoting on [M | I].
    double a[4][8];
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
        {
            a[r][c] = m_matrix[r][c];
            a[r][c + 4] = r == c ? 1.0 : 0.0;
        }
    }
    for (int col = 0; col < 4; ++col)
    {
        int pivot = col;
        for (int r = col + 1; r < 4; ++r)
        {
            if (std::fabs(a[r][col]) > std::fabs(a[pivot][col]))
            {
                pivot = r;
            }
        }
        if (!(std::fabs(a[pivot][col]) > 0.0) || !std::isfinite(a[pivot][col]))
        {
            SetIdentity(m_inverse);
            return false;
        }
        if (pivot != col)
        {
            for (int c = 0; c < 8; ++c)
            {
                std::swap(a[pivot][c], a[col][c]);
            }
        }
        double const scale = 1.0 / a[col][col];
        for (int c = 0; c < 8; ++c)
        {
            a[col][c] *= scale;
        }
        for (int r = 0; r < 4; ++r)
        {
            if (r != col && a[r][col] != 0.0)
            {
                double const factor = a[r][col];
                for (int c = 0; c < 8; ++c)
                {
                    a[r][c] -= factor * a[col][c];
                }
            }
        }
    }
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
        {
            m_inverse[r][c] = a[r][c + 4];
        }
    }
    return true;
}

void MMTransformMatrix::VerifyAndSetClass()
{
    bool const bottomIsIdentity =
        m_matrix[3][0] == 0.0 && m_matrix[3][1] == 0.0 && m_matrix[3][2] == 0.0 && m_matrix[3][3] == 1.0;
    if (!bottomIsIdentity)
    {
        m_class = Class::General;
        return;
    }
    bool linearIsIdentity = true;
    for (int r = 0; r < 3; ++r)
    {
        for (int c = 0; c < 3; ++c)
        {
            linearIsIdentity = linearIsIdentity && m_matrix[r][c] == (r == c ? 1.0 : 0.0);
        }
    }
    bool const noTranslation = m_matrix[0][3] == 0.0 && m_matrix[1][3] == 0.0 && m_matrix[2][3] == 0.0;
    if (linearIsIdentity)
    {
        m_class = noTranslation ? Class::Identity : Class::Translation;
    }
    else
    {
        m_class = Class::Affine;
    }
}

MMTransformMatrix operator*(MMTransformMatrix const& left, MMTransformMatrix const& right)
{
    MMTransformMatrix result;
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
        {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
            {
                sum += left.m_matrix[r][k] * right.m_matrix[k][c];
            }
            result.m_matrix[r][c] = sum;
        }
    }
    result.ComputeInverse();
    result.VerifyAndSetClass();
    return result;
}
