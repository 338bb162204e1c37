<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>CMError</name>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
</context>
<context>
    <name>CMListRowsNode</name>
    <message>
        <source>Invalid range %1 to %2: rows are counted from 0.</source>
        <translation>Plage %1 à %2 non valide : les lignes sont comptées à partir de 0.</translation>
    </message>
</context>
<context>
    <name>CMNode</name>
    <message>
        <source>"%1" has no value that can be set as "%2".</source>
        <translation>« %1 » n’a pas de valeur modifiable sous « %2 ».</translation>
    </message>
</context>
<context>
    <name>CMNodes</name>
    <message>
        <source>"%1" does not answer this kind of request.</source>
        <translation>« %1 » ne répond pas à ce type de demande.</translation>
    </message>
    <message>
        <source>There is nothing at "%1".</source>
        <translation>Il n’y a rien à l’adresse « %1 ».</translation>
    </message>
</context>
<context>
    <name>CMRootWorker</name>
    <message>
        <source>No service answers at "%1".</source>
        <translation>Aucun service ne répond à l’adresse « %1 ».</translation>
    </message>
    <message>
        <source>Invalid range: rows are counted from 0.</source>
        <translation>Plage non valide : les lignes sont comptées à partir de 0.</translation>
    </message>
    <message>
        <source>The value at "%1" has another type.</source>
        <translation>La valeur à l’adresse « %1 » est d’un autre type.</translation>
    </message>
    <message>
        <source>The value at "%1" can only be set by its own service.</source>
        <translation>La valeur à l’adresse « %1 » ne peut être modifiée que par son propre service.</translation>
    </message>
    <message>
        <source>The value at "%1" can only be set with the role "value".</source>
        <translation>La valeur à l’adresse « %1 » ne peut être modifiée qu’avec le rôle « value ».</translation>
    </message>
    <message>
        <source>There is no operation at "%1".</source>
        <translation>Il n’y a pas de fonction à l’adresse « %1 ».</translation>
    </message>
</context>
<context>
    <name>ContentClient</name>
    <message>
        <source>"%1" did not respond within %2 seconds.</source>
        <translation>« %1 » n’a pas répondu en %2 secondes.</translation>
    </message>
    <message>
        <source>No complete response from the service. Check your network connection.</source>
        <translation>Réponse du service absente ou incomplète. Vérifiez la connexion réseau.</translation>
    </message>
</context>
<context>
    <name>PanelServer</name>
    <message>
        <source>"%1" has no value to set.</source>
        <translation>« %1 » n’a pas de valeur modifiable.</translation>
    </message>
    <message>
        <source>"%1" must be a text.</source>
        <translation>« %1 » doit être un texte.</translation>
    </message>
    <message>
        <source>"%1" must be a whole number from %2 to %3.</source>
        <translation>« %1 » doit être un nombre entier de %2 à %3.</translation>
    </message>
    <message>
        <source>"%1" must be true or false.</source>
        <translation>« %1 » doit valoir true ou false.</translation>
    </message>
    <message>
        <source>"%1" is only accessible to the player itself.</source>
        <translation>« %1 » n’est accessible qu’au lecteur lui-même.</translation>
    </message>
    <message>
        <source>"entries" must be a list of entry numbers.</source>
        <translation>« entries » doit être une liste de numéros d’entrées.</translation>
    </message>
    <message>
        <source>"percent" or "muted" is required.</source>
        <translation>Il faut indiquer « percent » ou « muted ».</translation>
    </message>
    <message>
        <source>"repeat" must be off, one or all.</source>
        <translation>« repeat » doit valoir off, one ou all.</translation>
    </message>
    <message>
        <source>"repeat" or "shuffle" is required.</source>
        <translation>Il faut indiquer « repeat » ou « shuffle ».</translation>
    </message>
    <message>
        <source>"value" must be a tagged value.</source>
        <translation>« value » doit être une valeur avec son type.</translation>
    </message>
    <message>
        <source>"where" must be replace, next or end.</source>
        <translation>« where » doit valoir replace, next ou end.</translation>
    </message>
    <message>
        <source>%1 browsers are connected, which is the limit.</source>
        <translation>%1 navigateurs suivent déjà le lecteur ; il n’en accepte pas davantage.</translation>
    </message>
    <message>
        <source>The method %1 is not allowed here.</source>
        <translation>La méthode %1 n’est pas autorisée ici.</translation>
    </message>
    <message>
        <source>Log in with the player's password.</source>
        <translation>Connectez-vous avec le mot de passe du lecteur.</translation>
    </message>
    <message>
        <source>GET and HEAD requests must not have a body.</source>
        <translation>Les requêtes GET et HEAD ne doivent pas avoir de contenu.</translation>
    </message>
    <message>
        <source>Password required</source>
        <translation>Mot de passe requis</translation>
    </message>
    <message>
        <source>That device is no longer logged in.</source>
        <translation>Cet appareil n’est plus connecté.</translation>
    </message>
    <message>
        <source>The password could not be saved.</source>
        <translation>Impossible d’enregistrer le mot de passe.</translation>
    </message>
    <message>
        <source>The password needs %1 to %2 characters.</source>
        <translation>Le mot de passe doit comporter de %1 à %2 caractères.</translation>
    </message>
    <message>
        <source>The player cannot write its file. Its console output names the file and the reason.</source>
        <translation>Le lecteur ne peut pas écrire son fichier. Sa sortie console en indique le nom et la raison.</translation>
    </message>
    <message>
        <source>You do not have permission to do this.</source>
        <translation>Vous n’avez pas l’autorisation nécessaire.</translation>
    </message>
    <message>
        <source>Too many attempts. Try again in %1 seconds.</source>
        <translation>Trop de tentatives. Réessayez dans %1 secondes.</translation>
    </message>
    <message>
        <source>A POST request must have a JSON body, at least {}, and a Content-Length.</source>
        <translation>Une requête POST doit avoir un contenu JSON, au moins {}, et un Content-Length.</translation>
    </message>
    <message>
        <source>Request 1 to %1 roles.</source>
        <translation>Demandez de 1 à %1 rôles.</translation>
    </message>
    <message>
        <source>Busy</source>
        <translation>Occupé</translation>
    </message>
    <message>
        <source>At most %1 values can be followed.</source>
        <translation>On peut suivre au plus %1 valeurs.</translation>
    </message>
    <message>
        <source>Changed in the meantime</source>
        <translation>Modifié entre-temps</translation>
    </message>
    <message>
        <source>No response</source>
        <translation>Pas de réponse</translation>
    </message>
    <message>
        <source>Not allowed</source>
        <translation>Non autorisé</translation>
    </message>
    <message>
        <source>Not found</source>
        <translation>Introuvable</translation>
    </message>
    <message>
        <source>Nothing to play</source>
        <translation>Aucun titre à écouter</translation>
    </message>
    <message>
        <source>Only the role "value" can be set.</source>
        <translation>Seul le rôle « value » est modifiable.</translation>
    </message>
    <message>
        <source>Other lists are still being added to the queue. Try again.</source>
        <translation>D’autres listes sont encore en cours d’ajout à la file d’attente ; veuillez réessayer.</translation>
    </message>
    <message>
        <source>This is only available through the player's socket file.</source>
        <translation>Ceci n’est accessible que par le fichier de socket du lecteur.</translation>
    </message>
    <message>
        <source>Other sites are not allowed to use this player.</source>
        <translation>Les autres sites ne sont pas autorisés à utiliser ce lecteur.</translation>
    </message>
    <message>
        <source>Pages of "%1" are not allowed to use this player.</source>
        <translation>Les pages de « %1 » ne sont pas autorisées à utiliser ce lecteur.</translation>
    </message>
    <message>
        <source>That entry is no longer in the queue.</source>
        <translation>Ce titre n’est plus dans la file d’attente.</translation>
    </message>
    <message>
        <source>The address is too long; the limit is 8 KiB.</source>
        <translation>L’adresse est trop longue ; 8 Kio au plus sont acceptés.</translation>
    </message>
    <message>
        <source>The body must be a JSON object.</source>
        <translation>Le contenu doit être un objet JSON.</translation>
    </message>
    <message>
        <source>The body must be application/json.</source>
        <translation>Le contenu doit être de type application/json.</translation>
    </message>
    <message>
        <source>The body is not JSON: %1</source>
        <translation>Le contenu n’est pas du JSON : %1</translation>
    </message>
    <message>
        <source>Too many requests are waiting. Try again.</source>
        <translation>Trop de requêtes sont en attente ; réessayez.</translation>
    </message>
    <message>
        <source>The header is too large; the limit is 16 KiB.</source>
        <translation>L’en-tête de la requête est trop volumineux ; 16 Kio au plus sont acceptés.</translation>
    </message>
    <message>
        <source>&quot;to&quot; must not be before &quot;from&quot;.</source>
        <translation>« to » ne doit pas précéder « from ».</translation>
    </message>
    <message>
        <source>The body is too large; the limit is 64 KiB.</source>
        <translation>Le contenu est trop volumineux ; 64 Kio au plus sont acceptés.</translation>
    </message>
    <message>
        <source>The list contains no playable track.</source>
        <translation>La liste ne contient aucun titre pouvant être lu.</translation>
    </message>
    <message>
        <source>The login could not be saved</source>
        <translation>Impossible d’enregistrer la session</translation>
    </message>
    <message>
        <source>The panel is not installed. The player's console output names the folder.</source>
        <translation>L’interface n’est pas installée. La sortie console du lecteur indique le dossier.</translation>
    </message>
    <message>
        <source>The history could not be deleted from the player's file. The player's console output names the file and the reason.</source>
        <translation>L’historique n’a pas pu être effacé du fichier du lecteur. La sortie console du lecteur en indique le nom et la raison.</translation>
    </message>
    <message>
        <source>The path is too long.</source>
        <translation>Le chemin est trop long.</translation>
    </message>
    <message>
        <source>The player could not handle the request.</source>
        <translation>Le lecteur n’a pas pu traiter la requête.</translation>
    </message>
    <message>
        <source>The player is shutting down.</source>
        <translation>Le lecteur va se fermer.</translation>
    </message>
    <message>
        <source>The queue is not complete</source>
        <translation>La file d’attente est incomplète</translation>
    </message>
    <message>
        <source>The request is not valid HTTP.</source>
        <translation>La requête n’est pas du HTTP valide.</translation>
    </message>
    <message>
        <source>The request is too large</source>
        <translation>La requête est trop volumineuse</translation>
    </message>
    <message>
        <source>Invalid request</source>
        <translation>Requête invalide</translation>
    </message>
    <message>
        <source>There is no role "%1".</source>
        <translation>Le rôle « %1 » n’existe pas.</translation>
    </message>
    <message>
        <source>There is nothing at "%1".</source>
        <translation>Il n’y a rien à l’adresse « %1 ».</translation>
    </message>
    <message>
        <source>Either "positionMs" or "byMs" is required.</source>
        <translation>Il faut indiquer soit « positionMs », soit « byMs ».</translation>
    </message>
    <message>
        <source>Either "entry" or "entries" is required.</source>
        <translation>Il faut indiquer soit « entry », soit « entries ».</translation>
    </message>
    <message>
        <source>There is nothing to undo.</source>
        <translation>Il n’y a rien à annuler.</translation>
    </message>
    <message>
        <source>Either "minutes" or "at" is required.</source>
        <translation>Il faut indiquer soit « minutes », soit « at ».</translation>
    </message>
    <message>
        <source>"at" must be off, track or queue.</source>
        <translation>« at » doit être off, track ou queue.</translation>
    </message>
    <message>
        <source>Seeking is not possible now.</source>
        <translation>Le déplacement dans le titre est impossible pour le moment.</translation>
    </message>
    <message>
        <source>"%1" is not a host name of this player.</source>
        <translation>« %1 » n’est pas un nom d’hôte de ce lecteur.</translation>
    </message>
    <message>
        <source>Method not allowed</source>
        <translation>Méthode non autorisée</translation>
    </message>
    <message>
        <source>Wrong password.</source>
        <translation>Mot de passe incorrect.</translation>
    </message>
    <message>
        <source>Unsupported content type</source>
        <translation>Type de contenu non pris en charge</translation>
    </message>
</context>
<context>
    <name>PlayEngine</name>
    <message>
        <source>Playback of %1 was interrupted</source>
        <translation>Lecture interrompue : %1</translation>
    </message>
    <message>
        <source>%1 cannot be played</source>
        <translation>Lecture impossible : %1</translation>
    </message>
    <message>
        <source>Playback resumes here when the audio output is available again. (%1)</source>
        <translation>La lecture reprendra ici dès que la sortie audio sera rétablie. (%1)</translation>
    </message>
    <message>
        <source>Audio output lost</source>
        <translation>Sortie audio indisponible</translation>
    </message>
</context>
<context>
    <name>QueueLoader</name>
    <message>
        <source>The list is too long: only its first %1 rows were checked.</source>
        <translation>La liste est trop longue : seules ses %1 premières lignes ont été examinées.</translation>
    </message>
    <message>
        <source>The queue is full: it holds %1 tracks.</source>
        <translation>La file d’attente est pleine : elle contient %1 titres.</translation>
    </message>
</context>
<context>
    <name>StreamPlayer</name>
    <message>
        <source>No data was received for %1 seconds. Check your network connection.</source>
        <translation>Aucune donnée reçue depuis %1 secondes. Vérifiez la connexion réseau.</translation>
    </message>
    <message>
        <source>The connection was lost too many times.</source>
        <translation>La connexion a été interrompue trop souvent.</translation>
    </message>
    <message>
        <source>The stream did not begin within %1 seconds.</source>
        <translation>Le flux n’a pas commencé en %1 secondes.</translation>
    </message>
    <message>
        <source>The stream is not playable: this audio format is not supported. (%1)</source>
        <translation>Ce format audio n’est pas pris en charge. (%1)</translation>
    </message>
    <message>
        <source>This stream is not playable: its address must begin with http:// or https://.</source>
        <translation>Le flux ne peut pas être lu : son adresse doit commencer par http:// ou https://.</translation>
    </message>
    <message>
        <source>This stream is not playable: its server redirects to an address that does not begin with http:// or https://.</source>
        <translation>Le flux ne peut pas être lu : son serveur redirige vers une adresse qui ne commence ni par http:// ni par https://.</translation>
    </message>
</context>
<context>
    <name>TrackResolver</name>
    <message>
        <source>No stream is available for this track.</source>
        <translation>Aucun flux n’est disponible pour ce titre.</translation>
    </message>
</context>
</TS>
