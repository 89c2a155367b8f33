#pragma once

template <class T>
class ORVSmrPtr;

template <class T>
class ORVValSlist;

template <class K, class V>
class ORVValMap;
