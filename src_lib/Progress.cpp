// The tree of steps: counting, reports to the listener, and the current fraction.
#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace TARN_KEL {

Progress::Progress(Progress* pTheParent, const std::string& childName, double childWeight)
    : name(childName),
      weight(childWeight),
      pParent(pTheParent),
      pRoot(pTheParent->pRoot),
      position(pTheParent->shares.size()) {}

Progress::~Progress() {
    removeKids();
    if (bCounting) std::erase(pRoot->vCounting, this);
}

void Progress::setName(const std::string& newName) {
    const Lock lock(treeMutex());
    name = newName;
}

void Progress::setListener(ProgressBase* pNewListener) {
    const Lock lock(treeMutex());
    pListener = pNewListener;
}

void Progress::createChild(const std::string& childName, double childWeight) {
    ASSEX(this->name!="empty");
    const Lock lock(treeMutex());
    if (mNameKids.contains(childName)) return;
    std::unique_ptr<Progress> pKid(new Progress(this, childName, childWeight));
    shares.append(pKid->share());
    mNameKids.emplace(childName, pKid.get());
    static_cast<void>(pKid.release());  // the map owns it
    carryUp();
}

void Progress::reset() {
    const Lock lock(treeMutex());
    removeKids();
    name = "empty";
    todo = 1;
    setDoneSteps(0);
    interval = 1;
    sinceReport = 0;
    lastFrac = -1.0;
    carryUp();
}

void Progress::onThreadEnd() {
    reset();
    setListener(nullptr);
}

Progress* Progress::getChildProgressSetTodo(const std::string& childName, std::size_t newTodo) {
    const Lock lock(treeMutex());
    if (todo == 0) todo = 1;
    if (!mNameKids.contains(childName)) createChild(childName, 10.0);
    const auto q_it = mNameKids.find(childName);
    ASSEX(q_it!=mNameKids.end());
    q_it->second->open(newTodo);
    return q_it->second;
}

void Progress::setDone(bool bBroadcast) {
    const Lock lock(treeMutex());
    finish();
    carryUp();
    if (bBroadcast) broadcast(name);
}

double Progress::getFrac() const {
    const Lock lock(treeMutex());
    pRoot->settle();
    return fraction();
}

void Progress::broadcast(const std::string& text) {
    const Lock lock(treeMutex());
    if (pParent != nullptr) {
        pParent->broadcast(text);
        return;
    }
    const double frac = getFrac();
    if (frac == lastFrac) return;
    lastFrac = frac;
    if (pListener != nullptr) pListener->update(name, frac);
}

void Progress::removeKids() {
    for (const auto& [kidName, pKid] : mNameKids)
        delete pKid;
    mNameKids.clear();
    shares.clear();
}

double Progress::fraction() const {
    if (todo == 0) return 1.0;
    if (mNameKids.empty()) return std::min(1.0, static_cast<double>(doneSteps()) / static_cast<double>(todo));
    const ShareSums::Share sum = shares.sum();
    return sum.weight > 0.0 ? sum.done / sum.weight : 0.0;
}

void Progress::carryUp() {
    for (const Progress* p = this; p->pParent != nullptr; p = p->pParent)
        p->pParent->shares.set(p->position, p->share());
}

void Progress::watch() {
    if (bCounting) return;
    pRoot->vCounting.push_back(this);
    bCounting = true;
}

void Progress::settle() {
    std::erase_if(vCounting, [](Progress* pStep) {
        pStep->carryUp();
        pStep->bCounting = pStep->doneSteps() < pStep->todo;
        return !pStep->bCounting;
    });
}

void Progress::finish() {
    if (mNameKids.empty()) setDoneSteps(todo);
    for (const auto& [kidName, pKid] : mNameKids) {
        pKid->finish();
        shares.set(pKid->position, pKid->share());
    }
}

void Progress::open(std::size_t newTodo) {
    const std::size_t doneBefore = doneSteps();
    if (doneBefore == 0) {
        todo = newTodo;
    } else {
        const double frac = getFrac();
        todo = newTodo + doneBefore;
        setDoneSteps(frac < 1.0 ? static_cast<std::size_t>(static_cast<double>(todo) * frac) : todo);
    }
    interval = std::max<std::size_t>(doneSteps() == 0 ? freshInterval() : interval, 1);
    watch();
}

std::size_t Progress::freshInterval() const {
    const double total = pParent->shares.sum().weight;
    if (!(weight > 0.0) || !(total > 0.0)) return todo / 200;
    const double numSteps = static_cast<double>(todo);
    const double wanted = std::ceil((total / weight) * (numSteps / 200.0));
    return static_cast<std::size_t>(wanted <= numSteps ? wanted : std::ceil(numSteps * 0.75));
}

void Progress::report() {
    const Lock lock(treeMutex());
    sinceReport = 0;
    watch();
    broadcast(name);
}

// ---- For a stage --------------------------------------------------------------------------------------------------------

bool hasOpenProgress() {
    return ThreadSingleton<Progress>::getInstance()->getName() != "empty";
}

ProgressStep::ProgressStep(const std::string& name, std::size_t todo)
    : pNode(hasOpenProgress() ? ThreadSingleton<Progress>::getInstance()->getChildProgressSetTodo(name, todo) : nullptr) {}

}  // namespace TARN_KEL
