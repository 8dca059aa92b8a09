// Queries of the edges of both meshes on the list of their triangles. Dead triangles are skipped.
#pragma once

#include "SmallPtrList.h"
#include "tools.h"

namespace TARN_KEL {

/// Sets t0 and t1 to the first two triangles, null where there is none. Returns true when there are exactly two or, without
/// bExactlyTwo, at least two.
template <typename T>
bool firstTwoTriangles(const SmallPtrList<T>& vT, T*& t0, T*& t1, bool bExactlyTwo) {
    t0 = nullptr;
    t1 = nullptr;
    for (T* pT : vT) {
        if (!pT->isAlive()) continue;
        if (t1 != nullptr) return !bExactlyTwo;
        (t0 == nullptr ? t0 : t1) = pT;
    }
    return t1 != nullptr;
}

/// The one triangle other than pT; null when there is none or more than one.
template <typename T>
T* uniqueOtherTriangle(const SmallPtrList<T>& vT, const T* pT) {
    T* pOther = nullptr;
    for (T* pCandidate : vT) {
        if (pCandidate == pT || !pCandidate->isAlive()) continue;
        if (pOther != nullptr) return nullptr;
        pOther = pCandidate;
    }
    return pOther;
}

/// The first triangle; null when there is none. Throws (assertion) with bRequire when there is none, and with bUnique when
/// there are several.
template <typename T>
T* firstTriangle(const SmallPtrList<T>& vT, bool bRequire, bool bUnique) {
    T* pRet = nullptr;
    for (T* pT : vT) {
        if (!pT->isAlive()) continue;
        if (!bUnique) return pT;
        ASSEX(pRet==NULL);
        pRet = pT;
    }
    if (bRequire) ASSEX(pRet!=NULL);
    return pRet;
}

}  // namespace TARN_KEL
