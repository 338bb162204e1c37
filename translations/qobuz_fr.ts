<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>void QobuzWorker::createRootMenu()</name>
    <message>
        <source>Qobuz root</source>
        <translation>Qobuz</translation>
    </message>
    <message>
        <source>Discover</source>
        <translation>Découvrir</translation>
    </message>
    <message>
        <source>Albums</source>
        <translation>Albums</translation>
    </message>
    <message>
        <source>Artists</source>
        <translation>Artistes</translation>
    </message>
    <message>
        <source>Playlists</source>
        <translation>Playlists</translation>
    </message>
    <message>
        <source>My Playlists</source>
        <translation>Mes playlists</translation>
    </message>
    <message>
        <source>Favourites</source>
        <translation>Favoris</translation>
    </message>
    <message>
        <source>Tracks</source>
        <translation>Titres</translation>
    </message>
    <message>
        <source>Purchases</source>
        <translation>Achats</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Recherche</translation>
    </message>
    <message>
        <source>Search artists, albums, tracks and playlists</source>
        <translation>Rechercher des artistes, des albums, des titres et des playlists</translation>
    </message>
</context>
<context>
    <name>void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest&amp;)</name>
    <message>
        <source>User is not logged in</source>
        <translation>Aucun compte n’est connecté</translation>
    </message>
</context>
<context>
    <name>void QobuzWorker::on_setData_invoke(const CMSetDataRequest&amp;)</name>
    <message>
        <source>Track resolve failed</source>
        <translation>Le titre n’a pas pu être chargé</translation>
    </message>
</context>
<context>
    <name>void QobuzWorker::handlePlayStateChange(const CMSetDataRequest&amp;)</name>
    <message>
        <source>Track restriction</source>
        <translation>Titre indisponible</translation>
    </message>
    <message>
        <source>The rights-holders have not made the streaming of this track possible</source>
        <translation>Les ayants droit n’ont pas autorisé le streaming de ce titre</translation>
    </message>
</context>
<context>
    <name>Qobuz</name>
    <message>
        <source>Invalid value type for account operation.</source>
        <comment>Account node - invalid input data format</comment>
        <translation>Valeur non valide pour la gestion du compte.</translation>
    </message>
    <message>
        <source>Username or password not set</source>
        <translation>Il manque le nom d’utilisateur ou le mot de passe</translation>
    </message>
</context>
<context>
    <name>QobuzApi</name>
    <message>
        <source>User is not logged in</source>
        <translation>Aucun compte n’est connecté</translation>
    </message>
</context>
<context>
    <name>bool QobuzBrowser::browse(const CMGetRowsRequest&amp;)</name>
    <message>
        <source>Bad rows request range</source>
        <translation>La partie demandée de la liste n’est pas valide</translation>
    </message>
</context>
<context>
    <name>QobuzBrowser::browse(const CMGetRowsRequest&amp;)::&lt;lambda(const CMVoidReply&amp;)&gt; mutable</name>
    <message>
        <source>Invalid request path</source>
        <translation>Le chemin demandé n’est pas valide</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzAlbum&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzAlbum&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzAlbums&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzAlbums&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzArticle&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzArticle&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzArtist&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzArtist&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzCatalogFeaturedResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzCatalogFeaturedResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzErrorResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzErrorResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzGenre&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzGenre&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzGenreListResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzGenreListResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzGetFileUrlResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzGetFileUrlResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzLoginResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzLoginResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzPlaylist&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzPlaylist&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzPurchases&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzPurchases&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzQueryResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzQueryResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzUser&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzUser&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzUserFavoritesResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzUserFavoritesResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>QobuzApi::get&lt;PelkQobuzUserPlayistsResponse&gt;(const PelkUrl&amp;, HttpClientOptions, std::function&lt;void(PelkQobuzUserPlayistsResponse&amp;)&gt;)::&lt;lambda(int, int, const QByteArray&amp;, const HttpClientHeaders&amp;)&gt; mutable</name>
    <message>
        <source>Invalid data returned.</source>
        <translation>Le service a renvoyé des données non valides.</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzAlbum]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzAlbums]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzArticle]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzArtist]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzCatalogFeaturedResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzErrorResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzGenre]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzGenreListResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzGetFileUrlResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzLoginResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzPlaylist]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzPurchases]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzQueryResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzUser]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzUserFavoritesResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
<context>
    <name>bool QobuzApi::handleHttpError(const PelkUrl&amp;, CMReply&lt;T&gt;&amp;, int, const QByteArray&amp;) [with T = PelkQobuzUserPlayistsResponse]</name>
    <message>
        <source>Unknown error</source>
        <translation>Erreur inconnue</translation>
    </message>
</context>
</TS>
