// A library with the name of a later SDK version.
int libraryOfAnotherSdk();
int libraryOfAnotherSdk()
{
    return 0;
}
