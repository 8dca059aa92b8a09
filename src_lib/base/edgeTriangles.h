// What the edges of both meshes answer from the list of their triangles. Dead triangles are passed over.
#pragma once

#include "SmallPtrList.h"
#include "tools.h"

namespace TARN_KEL {

/// The first two triangles, null where one is missing. True when there are exactly two, without bExactlyTwo at least two.
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

/// The first triangle. None is an assertion with bRequire, else null; a second one is an assertion with bUnique.
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
